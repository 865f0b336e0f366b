// Why a job failed, out of the log of its tools.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// "CODE: SENTENCE" of the last run of `tool` in `log` if that failed or has no end; nothing when it
// did not, and when no run of that tool is there.
std::optional<std::string> last_failure(std::string_view log, std::string_view tool);

// The facts about a job that are needed to find out why it failed.
struct ended_job {
  std::string text;  // the status text
  std::string input_file;
  std::string output_file;  // empty where it has none
  int fileops_job = -1;     // -1 where it has none
};

// "CODE: SENTENCE" of a job that was cancelled by the failure of a tool, control characters made
// visible; empty if the job did not end by a tool's failure, none is logged, or the log does not
// show which of several failures was this job's: all jobs of a source share its log. A run that
// began after the last write of the job's status does not count.
std::string why_it_failed(const ended_job& job);
