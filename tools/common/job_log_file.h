// The log of a job's tools as a file: where it lies, and what is read out of it. It has a section
// for each run of a tool; docs/failures.md tells its form.
#pragma once

#include <cstddef>
#include <optional>
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
// What a closing line of a run that failed goes on with; "CODE: SENTENCE" follows.
constexpr std::string_view job_log_failed = " failed: ";

// The directory with the metadata of `media`, absolute; empty where it can have none.
std::string metadata_folder_of(const std::string& media);

// The log in the metadata directory of `media`, or its last `limit` bytes; empty where there is
// none. No symbolic link is followed, and only a regular file with no other name is read: others
// may write to the folder.
std::string read_job_log(const std::string& media, std::size_t limit = job_log_limit);

// "CODE: SENTENCE" of the last run of `tool` in `log` if that failed or has no end; nothing when it
// did not, and when no run of that tool is there.
std::optional<std::string> last_failure(std::string_view log, std::string_view tool);

// What is needed of a job to tell why it failed.
struct ended_job {
  std::string text;  // the status text
  std::string input_file;
  std::string output_file;  // empty where it has none
};

// "CODE: SENTENCE" of a job that was cancelled by the failure of a tool, control characters made
// visible; empty when no tool's failure has ended it, or none is logged.
std::string why_it_failed(const ended_job& job);
