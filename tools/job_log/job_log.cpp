#include "tools/job_log/job_log.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/file_bytes.h"
#include "platform/trusted_path.h"
#include "platform/unique_fd.h"
#include "tools/job_log/job_log_file.h"
#include "tools/job_log/log_time.h"
#include "tools/job_log/one_line.h"

namespace {

constexpr std::size_t longest_line = 4096;
constexpr std::size_t most_pending = std::size_t{64} << 10;

// How much is kept of each end of a log that has reached its limit. Less than half of the limit, so
// that not every new line causes another cut.
constexpr std::size_t kept_end = job_log_limit / 4;

constexpr int opening = O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

struct open_log {
  std::string tool;
  std::string source;
  std::vector<std::string> secrets;
  std::string folder;  // of a log that is opened with its end
  unique_fd file;
  std::string pending;      // lines that are not written yet
  std::string engine_line;  // of a program's errors, not at its end yet
  std::optional<failure> named;
  std::string failed;  // "CODE: SENTENCE"
};

open_log& the_log() {
  static open_log log;
  return log;
}

bool is_open() {
  return the_log().file.valid() || !the_log().folder.empty();
}

std::string now_text() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return log_time(now);
}

std::string without_secrets(std::string text) {
  for (const std::string& secret : the_log().secrets) {
    for (std::size_t at = 0; (at = text.find(secret, at)) != std::string::npos; at += 3) {
      text.replace(at, secret.size(), "***");
    }
  }
  return text;
}

std::string head_of(const std::string& text) {
  return text.substr(0, text.rfind('\n', kept_end) + 1);
}

std::string end_of(const std::string& text) {
  const std::size_t line_feed = text.find('\n', text.size() - kept_end);
  return line_feed == std::string::npos ? "" : text.substr(line_feed + 1);
}

// Reading is by position; writing goes to the end, wherever that is after the cut.
void cut_middle(int fd, std::size_t size) {
  std::string text(size, '\0');
  const ssize_t got = pread(fd, text.data(), text.size(), 0);
  if (got < static_cast<ssize_t>(2 * kept_end)) { return; }
  text.resize(static_cast<std::size_t>(got));
  const std::string head = head_of(text);
  const std::string end = end_of(text);
  const std::string mark = now_text() +
                           " cut: " + std::to_string(text.size() - head.size() - end.size()) +
                           " bytes from the middle were removed\n";
  if (ftruncate(fd, static_cast<off_t>(head.size())) == 0) { write_all(fd, mark + end); }
}

// All or nothing, if possible on a full disk: half a line is removed again.
bool append(int fd, const std::string& text) {
  struct stat status = {};
  if (fstat(fd, &status) != 0) { return false; }
  if (static_cast<std::size_t>(status.st_size) + text.size() > job_log_limit) {
    cut_middle(fd, static_cast<std::size_t>(status.st_size));
    if (fstat(fd, &status) != 0) { return false; }
  }
  if (write_all(fd, text)) { return true; }
  return ftruncate(fd, status.st_size) != 0;
}

void write_line(std::string_view line) {
  open_log& log = the_log();
  std::string text = on_one_line(without_secrets(std::string(line)));
  if (text.size() > longest_line) { text = text.substr(0, longest_line) + " ..."; }
  if (log.pending.size() < most_pending) { log.pending += text + "\n"; }
  if (log.file.valid() && append(log.file.get(), log.pending)) { log.pending.clear(); }
}

std::string quoted(std::string_view argument) {
  constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                     "0123456789-_./:,=+@%";
  if (!argument.empty() && argument.find_first_not_of(plain) == std::string_view::npos) {
    return std::string(argument);
  }
  std::string text = "'";
  for (const char character : argument) {
    character == '\'' ? text += "'\\''" : text += character;
  }
  return text + "'";
}

std::string command_text(const std::vector<std::string>& argv) {
  std::string text;
  for (const std::string& argument : argv) {
    text += (text.empty() ? "" : " ") + quoted(argument);
  }
  return text;
}

bool open_file(const std::string& folder) {
  const unique_fd place = open_trusted(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (!place.valid()) { return false; }
  unique_fd file(openat(place.get(), job_log_name, opening | O_RDWR | O_APPEND, 0644));
  struct stat status = {};
  const bool usable = file.valid() && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                      status.st_nlink == 1;
  if (!usable) { return false; }
  mark_job_log_in_use(file.get());
  the_log().file = std::move(file);
  return true;
}

std::string last_name(std::string_view path) {
  return std::string(path.substr(path.rfind('/') + 1));
}

void begin_section(const std::string& tool, const std::string& source,
                   process_arguments arguments) {
  the_log().tool = tool;
  the_log().source = source;
  write_line(std::string(job_log_opening) + now_text() + " " + tool + " " + QX_VERSION);
  log_note("command", command_text({arguments.values, arguments.values + arguments.count}));
}

// Where neither can be made there is no log.
void open_with_folder() {
  static_cast<void>(make_directory(the_log().folder, 0777));
  open_file(the_log().folder);
}

void flush_engine_line() {
  std::string& line = the_log().engine_line;
  if (!line.empty()) { log_note("engine", line); }
  line.clear();
}

}  // namespace

void open_job_log(const std::string& tool, const std::string& folder, const std::string& source,
                  process_arguments arguments) {
  if (!folder.empty() && open_file(folder)) { begin_section(tool, source, arguments); }
}

void open_job_log_and_folder(const std::string& tool, const std::string& folder,
                             const std::string& source, process_arguments arguments) {
  open_job_log(tool, folder, source, arguments);
  if (folder.empty() || the_log().file.valid()) { return; }
  the_log().folder = folder;
  begin_section(tool, source, arguments);
}

void hide_in_job_log(const std::string& secret) {
  if (!secret.empty()) { the_log().secrets.push_back(secret); }
}

void log_note(std::string_view key, std::string_view text) {
  if (!is_open()) { return; }
  write_line(now_text().append(" ").append(key).append(": ").append(text));
}

void log_length(std::string_view of, double seconds) {
  char text[40];
  std::snprintf(text, sizeof text, " %.3f s", seconds);
  log_note("length", std::string(of) + text);
}

void log_program(const std::vector<std::string>& argv) {
  if (is_open()) { log_note("run", command_text(argv)); }
}

void log_program_errors(std::string_view bytes) {
  if (!is_open()) { return; }
  std::string& line = the_log().engine_line;
  for (const char character : bytes) {
    const bool ends = character == '\n' || character == '\r';
    if (!ends) { line += character; }
    if (ends || line.size() >= longest_line) { flush_engine_line(); }
  }
}

void log_program_end(std::string_view how, std::chrono::milliseconds took) {
  flush_engine_line();
  char text[40];
  std::snprintf(text, sizeof text, ", after %.3f s", double(took.count()) / 1000.0);
  log_note("end", std::string(how) + text);
}

void name_failure(failure why) {
  the_log().named = why;
}

void log_failure(std::string_view file, std::string_view cause) {
  open_log& log = the_log();
  const bool is_source = file == log.source;
  const file_role role = is_source ? file_role::source : file_role::output;
  const failure why = log.named ? *log.named : failure_of_cause(cause, role);
  log.failed = std::string(failure_code(why)) + ": ";
  if (!is_source && !file.empty()) { log.failed += last_name(file) + ": "; }
  log.failed += cause;
  log.named.reset();
}

void close_job_log(int status, int signal) {
  if (!is_open()) { return; }
  open_log& log = the_log();
  if (log.failed.empty() && status != 0) {
    log_failure("", "exit status " + std::to_string(status));
  }
  std::string how = " done";
  if (signal != 0) {
    how = std::string(" stopped by ") + strsignal(signal);
  } else if (status != 0) {
    how = std::string(job_log_failed) + log.failed;
  }
  if (!log.file.valid() && signal == 0) { open_with_folder(); }
  write_line(std::string(job_log_closing) + now_text() + " " + log.tool + how);
  log = open_log();
}
