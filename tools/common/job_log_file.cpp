// The log of a job's tools as a file.
#include "tools/common/job_log_file.h"

#include "platform/metadata_v4.h"
#include "platform/unique_fd.h"
#include "tools/common/failure.h"
#include "tools/common/one_line.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

namespace {

// Holds the end of any run that failed: its last lines are few and bounded.
constexpr std::size_t tail_size = std::size_t{16} << 10;

constexpr std::size_t longest_sentence = 500;

// Which tool's failure each of the service's texts speaks of, and where it keeps its log.
struct failed_step {
  std::string_view text;
  const char* tool;
  bool beside_output;
};

constexpr failed_step failed_steps[] = {
    {"Transcoding failed", "qxmi_vod_transcode", true},
    {"Rejected: Unable to determine appropriate transcoding profiles", "qxmi_vod_transcode", false},
    {"Rejected: Unable to create metadata or identify item", "qxmi_startitem", false},
    {"Unable to send file to remote", "qxmi_remote_transcode", false},
};

bool may_be_read(int fd, struct stat& status) {
  return fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

std::string read_end(int fd, off_t size, std::size_t limit) {
  const auto whole = static_cast<std::size_t>(size);
  std::string text(std::min(whole, limit), '\0');
  off_t at = static_cast<off_t>(whole - text.size());
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t got = pread(fd, text.data() + done, text.size() - done, at);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
    at += got;
  }
  text.resize(done);
  return text;
}

// "=== 2026-11-22T01:30:00.000Z TOOL ...": the text after "TOOL"; nothing for another tool's line.
std::optional<std::string_view> rest_of(std::string_view line, std::string_view mark,
                                        std::string_view tool) {
  if (line.substr(0, mark.size()) != mark) return std::nullopt;
  const std::size_t blank = line.find(' ', mark.size());
  if (blank == std::string_view::npos) return std::nullopt;
  line.remove_prefix(blank + 1);
  const bool is_its = line.substr(0, tool.size()) == tool &&
                      (line.size() == tool.size() || line[tool.size()] == ' ');
  if (!is_its) return std::nullopt;
  return line.substr(tool.size());
}

std::string killed_text() {
  return std::string(failure_code(failure::tool_killed)) +
         ": the tool ended without a word; it was killed, or the machine went down";
}

std::string shown(std::string_view sentence) {
  return on_one_line(sentence.substr(0, longest_sentence));
}

}  // namespace

std::string metadata_folder_of(const std::string& media) {
  char folder[4096];
  std::error_code error;
  const std::string whole = std::filesystem::absolute(media, error).string();
  const bool has_one = metadata_v4_file_to_metadir(whole.c_str(), folder, sizeof folder) >= 0;
  return has_one ? folder : "";
}

std::string read_job_log(const std::string& media, std::size_t limit) {
  const std::string folder = metadata_folder_of(media);
  if (folder.empty()) return "";
  const unique_fd place(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!place.valid()) return "";
  const unique_fd file(
      openat(place.get(), job_log_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  return may_be_read(file.get(), status) ? read_end(file.get(), status.st_size, limit) : "";
}

std::optional<std::string> last_failure(std::string_view log, std::string_view tool) {
  std::optional<std::string> found;
  while (!log.empty()) {
    const std::size_t end = log.find('\n');
    const std::string_view line = log.substr(0, end);
    if (rest_of(line, job_log_opening, tool)) found = killed_text();
    if (const auto rest = rest_of(line, job_log_closing, tool)) {
      const bool failed = rest->substr(0, job_log_failed.size()) == job_log_failed;
      found.reset();
      if (failed) found = std::string(rest->substr(job_log_failed.size()));
    }
    log.remove_prefix(end == std::string_view::npos ? log.size() : end + 1);
  }
  return found;
}

std::string why_it_failed(const ended_job& job) {
  for (const failed_step& step : failed_steps) {
    if (step.text != job.text) continue;
    const std::string& media = step.beside_output ? job.output_file : job.input_file;
    auto found = last_failure(read_job_log(media, tail_size), step.tool);
    // The run's first line can be far from the end only where the run has no last one.
    if (!found) found = last_failure(read_job_log(media), step.tool);
    return found ? shown(*found) : "";
  }
  return "";
}
