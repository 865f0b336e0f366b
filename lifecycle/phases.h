// One turn of work in each phase of a job that this folder drives: follows the item's child, or
// starts the next step when it has none. Called only while the item is in that phase.
#pragma once

class QueueItem;

// "ready": metadata, profiles, then the wait for the scheduler. True when a step was started or
// advanced.
bool idle_ready(QueueItem& item);

// "transcoding": takes the progress out of the transcoder's output.
void idle_transcoding(QueueItem& item);

// "thumbnail": the picture, the metadata of the output and the ready marker.
void idle_thumbnail(QueueItem& item);

// "cleanup": removes the source and its metadata if the job asks for that.
void idle_cleanup(QueueItem& item);
