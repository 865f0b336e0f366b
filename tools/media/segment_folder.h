// The hidden folders beside outputs in which transcodes keep their finished segments. A folder is
// in use while its lock is held.
//
// They lie in directories that may be open to all. Only folders that this user made, and nobody
// else can open, are touched.
#pragma once

#include <cstddef>
#include <string>

#include <sys/stat.h>

#include "platform/unique_fd.h"

constexpr const char* segment_folder_prefix = ".qx-segments-";

// What is in such a folder besides segments.
constexpr const char* segment_lock_name = "lock";
constexpr const char* segment_source_name = "source";  // see segment_source_text()
constexpr const char* segment_result_name = "result";  // see segment_result_text()
constexpr const char* segment_lease_name = "lease";    // touched while other machines use it
constexpr const char* segment_run_prefix = "run";      // of folders that engines write to

// What the folder remembers of the source: its size and time of change, and its absolute path.
std::string segment_source_text(const std::string& path, const struct stat& status);

// What the folder remembers of the result that is about to get the name `name` beside it.
std::string segment_result_text(const std::string& name, const struct stat& status);

// A name like `name` for a folder that one run of a tool has for itself; nobody can foresee it.
std::string private_segment_folder(const std::string& name);
bool is_private_segment_folder(const std::string& name);

// Opens the folder `name` in `directory`. Not valid, with errno set, if it is not this user's own
// private folder.
unique_fd open_segment_folder(int directory, const std::string& name);

// Whether a folder counts as locked on a file system that knows no locks.
enum class without_locks { accepted, refused };

// Locks that folder until the descriptor is closed. Not valid, with errno set, on failure:
// EWOULDBLOCK if another process has it or is just removing it.
unique_fd lock_segment_folder(int directory, const std::string& name, int folder,
                              without_locks missing = without_locks::refused);

// For the process that holds the lock: removes the folder with everything that a transcode makes in
// it, the lock last, and releases that; false if something is left.
bool remove_segment_folder(int directory, const std::string& name, int folder, unique_fd lock);

// For the process that holds the lock: remove everything in it but the lock; whatever is neither a
// file nor the folder of a run, which damage alone brings there, and which would be in the way of a
// file; all folders of runs; one of them.
void empty_segment_folder(int folder);
void remove_false_files(int folder);
void remove_run_folders(int folder);
void remove_run_folder(int folder, const std::string& name);

// The bytes of all files in the folder itself, and how many of them are segments of pictures.
unsigned long long bytes_in_segment_folder(int folder);
std::size_t segments_in_folder(int folder);
