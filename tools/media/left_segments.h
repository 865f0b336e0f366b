// The folders in which transcodes keep their finished segments: in use while they are locked, left
// for the next try when they are not, and abandoned when no try is to be expected.
//
// They lie beside the outputs, in directories that may be open to all. Only folders that this user
// made, and nobody else can open, are looked at.
#pragma once

#include <string>

#include <sys/stat.h>

#include "platform/unique_fd.h"
#include "tools/media/left_parts.h"

constexpr const char* segment_folder_prefix = ".qx-segments-";

// What is in such a folder besides segments.
constexpr const char* segment_lock_name = "lock";
constexpr const char* segment_source_name = "source";  // see segment_source_text()
constexpr const char* segment_run_folder = "run";      // what the engine is just writing

// What the folder remembers of the source: its size and time of change, and its path.
std::string segment_source_text(const std::string& path, const struct stat& status);

// Opens the folder `name` in `directory`. Not valid if it is not this user's own private folder.
unique_fd open_segment_folder(int directory, const std::string& name);

// Locks that folder until the descriptor is closed. Not valid if another process has it, or was
// faster in removing it. A file system without locks is treated as if nobody else were there.
unique_fd lock_segment_folder(int directory, const std::string& name, int folder);

// Removes the folder with everything that a transcode makes in it; false if something is left. Or
// removes everything in it but its lock; or its run folder alone.
bool remove_segment_folder(int directory, const std::string& name, int folder);
void empty_segment_folder(int folder);
void remove_run_folder(int folder);

// Which of the folders that nobody uses: those whose source is gone or another one by now, or in
// which nothing has changed for more than `keep_days` days; or all.
enum class left_segments { abandoned, all };

left_part_sums find_left_segments(const std::string& directory, left_segments which, int keep_days);

// Removes them, and returns how many there were.
left_part_sums remove_left_segments(const std::string& directory, left_segments which,
                                    int keep_days);
