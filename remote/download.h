// Downloading the finished file from the remote server: clearing its path, checking its size.
#pragma once

class QueueItem;

// Removes whatever exists at the item's output path; the download tool would otherwise append to
// another transcode's bytes. A symbolic link is removed, not its target. Failures are reported on
// standard error.
void discard_download(const QueueItem& item);

// False if the item's output is a link, has a second name or belongs to another account than when
// the download tool was started: another account has put it there, and it is removed. False, too,
// if the output cannot be examined; it is kept then. Call it after the tool has ended.
bool keeps_own_output(const QueueItem& item);

// Whether the item's output has the size announced by the remote server's document and by the FTP
// server; a difference is reported on standard error. True if neither announced one. Call it after
// the download tool has ended and read_download_progress() has read all of its output.
bool has_announced_size(const QueueItem& item);
