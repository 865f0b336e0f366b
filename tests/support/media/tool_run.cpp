#include "tests/support/media/tool_run.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

namespace qx_test {
namespace {

namespace fs = std::filesystem;

int closed_pipe() {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) { return -1; }
  close(ends[0]);
  return ends[1];
}

std::vector<char*> pointers(std::vector<std::string>& words) {
  std::vector<char*> result;
  for (std::string& word : words) {
    result.push_back(word.data());
  }
  result.push_back(nullptr);
  return result;
}

std::string content_of(int fd) {
  std::string text;
  char buffer[4096];
  ssize_t count = 0;
  while ((count = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  return text;
}

std::vector<std::string> split_lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

// The fields of /proc/PID/stat after the name, which may itself contain blanks and brackets.
std::vector<std::string> stat_fields(pid_t pid) {
  std::ifstream stream("/proc/" + std::to_string(pid) + "/stat");
  // Reading through the stream itself: its buffer throws if the process has just ended.
  std::string text;
  std::getline(stream, text, '\0');
  const std::size_t bracket = text.rfind(')');
  if (bracket == std::string::npos) { return {}; }
  std::istringstream rest(text.substr(bracket + 1));
  return {std::istream_iterator<std::string>(rest), {}};
}

pid_t parent_of(pid_t pid) {
  const std::vector<std::string> fields = stat_fields(pid);
  return fields.size() > 1 ? std::stoi(fields[1]) : -1;
}

bool is_ffmpeg(pid_t pid) {
  std::error_code ignored;
  return fs::read_symlink("/proc/" + std::to_string(pid) + "/exe", ignored).filename() == "ffmpeg";
}

pid_t find_engine(pid_t tool) {
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
    const pid_t pid = std::atoi(entry.path().filename().c_str());
    if (pid > 0 && parent_of(pid) == tool && is_ffmpeg(pid)) { return pid; }
  }
  return -1;
}

tool_end decode(int status) {
  if (WIFEXITED(status)) { return {WEXITSTATUS(status), -1}; }
  return {-1, WTERMSIG(status)};
}

}  // namespace

tool_run::tool_run(const std::string& tool, const std::vector<std::string>& arguments,
                   const std::string& folder, tool_output output) {
  std::vector<std::string> words = arguments;
  words.insert(words.begin(), std::string(QX_TOOLS_DIR) + "/" + tool);
  const std::vector<char*> argv = pointers(words);
  output_fd_ = output == tool_output::kept ? memfd_create("output", MFD_CLOEXEC) : closed_pipe();
  errors_fd_ = memfd_create("errors", MFD_CLOEXEC);
  pid_ = fork();
  if (pid_ == 0) {
    setsid();
    signal(SIGPIPE, SIG_IGN);
    dup2(output_fd_, STDOUT_FILENO);
    dup2(errors_fd_, STDERR_FILENO);
    if (folder.empty() || chdir(folder.c_str()) == 0) { execv(argv[0], argv.data()); }
    _exit(255);
  }
  // Until it leads its group there is nothing to signal.
  EXPECT_TRUE(pid_ > 0 && wait_until([this] { return getpgid(pid_) == pid_; }));
}

tool_run::~tool_run() {
  if (pid_ > 0) { signal_group(SIGKILL); }
  if (pid_ > 0 && !ended_) { waitpid(pid_, nullptr, 0); }
  close(output_fd_);
  close(errors_fd_);
}

void tool_run::signal_group(int number) const {
  ::kill(-pid_, number);
}

tool_end tool_run::wait(std::chrono::milliseconds deadline) {
  int status = 0;
  const bool in_time =
      ended_ || wait_until([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }, deadline);
  EXPECT_TRUE(in_time) << "still running: " << errors();
  if (!ended_ && in_time) { ended_ = decode(status); }
  return ended_.value_or(tool_end());
}

std::string tool_run::output() const {
  return content_of(output_fd_);
}

std::string tool_run::errors() const {
  return content_of(errors_fd_);
}

std::vector<std::string> tool_run::output_lines() const {
  return split_lines(output());
}

std::vector<std::string> tool_run::error_lines() const {
  return split_lines(errors());
}

pid_t tool_run::engine() const {
  pid_t found = -1;
  wait_until([&] { return (found = find_engine(pid_)) > 0; });
  EXPECT_GT(found, 0) << "no engine was started: " << errors();
  return found;
}

tool_result run_tool(const std::string& tool, const std::vector<std::string>& arguments,
                     const std::string& folder) {
  tool_run run(tool, arguments, folder);
  const tool_end end = run.wait();
  return {end, run.output_lines(), run.error_lines()};
}

double cpu_seconds(pid_t pid) {
  const std::vector<std::string> fields = stat_fields(pid);
  if (fields.size() < 13) { return 0.0; }
  return (std::stod(fields[11]) + std::stod(fields[12])) /
         static_cast<double>(sysconf(_SC_CLK_TCK));
}

char process_state(pid_t pid) {
  const std::vector<std::string> fields = stat_fields(pid);
  return fields.empty() ? '\0' : fields[0][0];
}

scratch_folder::scratch_folder() {
  std::string pattern = fs::temp_directory_path() / "qx-tools-XXXXXX";
  if (mkdtemp(pattern.data()) != nullptr) { path_ = pattern; }
  EXPECT_FALSE(path_.empty());
}

scratch_folder::~scratch_folder() {
  std::error_code ignored;
  if (!path_.empty()) { fs::remove_all(path_, ignored); }
}

std::vector<std::string> scratch_folder::names() const {
  std::vector<std::string> result;
  for (const fs::directory_entry& entry : fs::directory_iterator(path_)) {
    result.push_back(entry.path().filename());
  }
  std::sort(result.begin(), result.end());
  return result;
}

}  // namespace qx_test
