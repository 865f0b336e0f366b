// The start-up sweep of the file-operations jobs.
#pragma once

// Removes every job directory of operation "vod" whose number no item of the queue has. Called once
// at start, when the queue has been read.
void markdown_unknown_vod_fileops();
