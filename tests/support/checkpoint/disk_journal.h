// A journal of what has certainly reached the disk: an entry for each fsync, with what the file or
// the folder held then.
#pragma once

#include <string>

namespace qx_test {

// "INODE.SECONDS.NANOSECONDS" with the time of birth, since inode numbers are used again: the same
// as long as the file exists, also under another name.
std::string identity_of(int fd);

// Writes what `fd` holds to the file journal_entry(number) in `folder`, and then the line "IDENTITY
// NUMBER" to journal_list there. A folder is written as lines "KIND IDENTITY MODE NAME", KIND being
// "file", "folder" or "other". Only regular files and folders get an entry. False if it cannot be
// written. No other entry may have that number.
bool add_to_journal(const std::string& folder, long number, int fd);

constexpr const char* journal_list = "list";
std::string journal_entry(long number);

}  // namespace qx_test
