// The file that a download makes: what lies there before it, and whether it came whole.
#pragma once

class QueueItem;

// Removes what lies at the item's output path, because the download tool would continue it with the
// bytes of another transcode. A link is removed itself, never what it leads to. What cannot be
// removed is reported on standard error.
void discard_download(const QueueItem& item);

// Whether the item's output has the size that the remote server's document and the FTP server gave;
// the difference is reported on standard error. True where neither has given one. To be called when
// the download tool has ended, and all of its output has been taken by read_download_progress().
bool has_announced_size(const QueueItem& item);
