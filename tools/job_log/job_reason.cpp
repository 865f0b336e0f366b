#include "tools/job_log/job_reason.h"

#include <algorithm>
#include <vector>

#include <sys/stat.h>

#include "platform/fileops_jobs.h"
#include "rules/fileops_words.h"
#include "rules/texts.h"
#include "tools/job_log/failure.h"
#include "tools/job_log/job_log_file.h"
#include "tools/job_log/log_mark.h"
#include "tools/job_log/log_time.h"
#include "tools/job_log/one_line.h"

namespace {

// Holds the end of any run that failed: its last lines are few and bounded.
constexpr std::size_t tail_size = std::size_t{16} << 10;

constexpr std::size_t longest_sentence = 500;

// The service writes a job's status as soon as it sees that the tool has ended.
constexpr std::chrono::milliseconds same_moment{1000};

// Which tool's failure each of the service's texts reports, and where that tool keeps its log.
struct failed_step {
  std::string_view text;
  const char* tool;
  bool beside_output;
};

constexpr failed_step failed_steps[] = {
    {text_transcoding_failed, "qxmi_vod_transcode", true},
    {text_listing_failed, "qxmi_vod_transcode", false},
    {text_not_identified, "qxmi_startitem", false},
    {text_not_sent, "qxmi_remote_transcode", false},
};

std::string killed_text() {
  return std::string(failure_code(failure::tool_killed)) +
         ": the tool ended without a message; it was killed, or the machine went down";
}

struct logged_run {
  std::string_view begin;
  std::string_view end;               // empty where it has none
  std::optional<std::string> failed;  // "CODE: SENTENCE"
};

logged_run ended_run(std::string_view begin, const log_mark& line) {
  logged_run run{begin, line.time, std::nullopt};
  if (line.rest.substr(0, job_log_failed.size()) == job_log_failed) {
    run.failed = line.rest.substr(job_log_failed.size());
  }
  return run;
}

// In a log that was cut, a run may have its end alone.
std::vector<logged_run> runs_of(std::string_view log, std::string_view tool) {
  std::vector<logged_run> runs;
  while (!log.empty()) {
    const std::size_t end = log.find('\n');
    const std::string_view line = log.substr(0, end);
    if (const auto opening = read_log_mark(line, job_log_opening, tool)) {
      runs.push_back({opening->time, "", killed_text()});
    }
    if (const auto closing = read_log_mark(line, job_log_closing, tool)) {
      const bool is_whole = !runs.empty() && runs.back().end.empty();
      const std::string_view begin = is_whole ? runs.back().begin : closing->time;
      if (is_whole) { runs.pop_back(); }
      runs.push_back(ended_run(begin, *closing));
    }
    log.remove_prefix(end == std::string_view::npos ? log.size() : end + 1);
  }
  return runs;
}

// When the service last wrote the job's status, which it does when a tool's end has ended the job.
std::optional<timespec> status_time(int fileops_job) {
  char folder[4096];
  struct stat status = {};
  if (fileops_job < 0) { return std::nullopt; }
  if (cgi_get_fileops_job_directory(fileops_job, sizeof folder, folder) == nullptr) {
    return std::nullopt;
  }
  if (stat((std::string(folder) + "/" + fileops_status_file).c_str(), &status) != 0) {
    return std::nullopt;
  }
  return status.st_mtim;
}

// A file's time comes from a clock that ticks more coarsely than a log's.
std::chrono::milliseconds clock_tick() {
  timespec tick = {};
  clock_getres(CLOCK_REALTIME_COARSE, &tick);
  return std::chrono::milliseconds(tick.tv_nsec / 1000000);
}

// The failure of the tool's last run, if that run belongs to this job. In an output's log, every
// run that began before the status was written does: one tool at a time works on a step, and the
// next one starts after the service has seen its end. In a source's log, only a run that ended just
// before is certain; if the status was written again, for example when the service started, the log
// is only conclusive if it has a single failure.
std::optional<std::string> failure_of_job(std::vector<logged_run> runs, bool is_shared,
                                          const std::optional<timespec>& settled) {
  if (settled) {
    const std::string latest = log_time(*settled, clock_tick());
    const auto is_later = [&](const logged_run& run) { return run.begin > latest; };
    runs.erase(std::remove_if(runs.begin(), runs.end(), is_later), runs.end());
  }
  if (runs.empty()) { return std::nullopt; }
  const logged_run& last = runs.back();
  const bool is_certain = !is_shared || (settled && last.end >= log_time(*settled, -same_moment));
  const auto differs = [&](const logged_run& run) {
    return run.failed && run.failed != last.failed;
  };
  if (!is_certain && std::any_of(runs.begin(), runs.end(), differs)) { return std::nullopt; }
  return last.failed;
}

std::string look_up(const failed_step& step, const ended_job& job) {
  const std::string& media = step.beside_output ? job.output_file : job.input_file;
  const auto settled = status_time(job.fileops_job);
  // Asked first: a run that ends between the two has its end in the text.
  const bool in_use = job_log_in_use(media);
  std::string log = read_job_log(media, tail_size);
  // If the end of the log is not conclusive, an earlier run may be.
  if (!step.beside_output || runs_of(log, step.tool).empty()) { log = read_job_log(media); }
  auto runs = runs_of(log, step.tool);
  if (in_use && !runs.empty() && runs.back().end.empty()) { runs.pop_back(); }
  const auto found = failure_of_job(std::move(runs), !step.beside_output, settled);
  return found ? on_one_line(found->substr(0, longest_sentence)) : "";
}

}  // namespace

std::optional<std::string> last_failure(std::string_view log, std::string_view tool) {
  const auto runs = runs_of(log, tool);
  return runs.empty() ? std::nullopt : runs.back().failed;
}

std::string why_it_failed(const ended_job& job) {
  for (const failed_step& step : failed_steps) {
    if (step.text == job.text) { return look_up(step, job); }
  }
  return "";
}
