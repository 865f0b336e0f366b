// The start-up sweep of file-operations jobs left over from earlier runs.
#pragma once

// Removes every job directory with operation "vod" whose number does not belong to an item in the
// queue. Call it once at start, after the queue has been read.
void markdown_unknown_vod_fileops();
