// The log of a job's tools as a file: its place, and the begin and end of its sections. The format
// is described in docs/failures.md.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The file's name in a metadata directory.
constexpr const char* job_log_name = "vod.log";

// The file never holds more bytes; where it would, its middle is cut out.
constexpr std::size_t job_log_limit = std::size_t{256} << 10;

// How lines begin that open and close a section; "TIME TOOL ..." follows. No other line can begin
// like that, whatever a file is called and whatever an engine says.
constexpr std::string_view job_log_opening = "=== ";
constexpr std::string_view job_log_closing = "--- ";
// Follows the tool's name in the closing line of a failed run, before "CODE: SENTENCE".
constexpr std::string_view job_log_failed = " failed: ";

// The directory with the metadata of `media`, absolute; empty where it can have none.
std::string metadata_folder_of(const std::string& media);

// The log in the metadata directory of `media`, or its last `limit` bytes; empty if it does not
// exist. Symbolic links are not followed, and only a regular file with no other name is read,
// because others may write to the directory.
std::string read_job_log(const std::string& media, std::size_t limit = job_log_limit);

// Whether a tool has a section open in the log of `media`. False where the file system knows no
// locks.
bool job_log_in_use(const std::string& media);

// Marks the log that is open as `fd` as in use, until the descriptor is closed or the tool ends.
void mark_job_log_in_use(int fd);
