// Shared by the steps of the remote phase: whether one may start, and the remote job's last
// document read as an item.
#pragma once

class QueueItem;

// Whether a step may start its child: the item has none, is still valid, and has the address of the
// server, the name of the uploaded copy and a profile. Validating may set the item's text and
// create its metadata directory and job.
bool remote_step_may_start(QueueItem& item);

// The same for a step that does not need the source: one that does not answer is not waited for, so
// that a job can be cancelled on its server at once.
bool remote_command_may_start(QueueItem& item);

// Restores `scratch`, a new item that the caller owns and discards, from the last document that the
// remote server returned for `item`. False if there is none or it is refused; `scratch` may then be
// partly filled.
//
// Kept on purpose: restoring an item ends with a status write, also for a scratch item, because
// other programs watch the status files and rely on when they are rewritten. Effect: a document
// with a "fileops job id", which older gateways include, overwrites the status file of the local
// job with that number, if there is one; a document whose output path has a metadata directory on
// this machine too overwrites the summary in it.
bool read_scratch_item(const QueueItem& item, QueueItem& scratch);
