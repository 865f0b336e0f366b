// Processes of a private root: starting programs inside, and converting process ids.
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/namespaces.h"
#include "tests/support/private_root.h"
#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

// Only the sanitizers' options are passed on from the test's environment.
std::vector<std::string> environment_inside() {
  std::vector<std::string> entries = {"PATH=/usr/bin:/bin", "LC_ALL=C"};
  for (const char* name : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
    if (const char* value = std::getenv(name)) {
      entries.push_back(std::string(name) + "=" + value);
    }
  }
  return entries;
}

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (auto& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

void redirect(const std::string& path, int flags, int target) {
  const int fd = open(path.c_str(), flags | O_CLOEXEC, 0666);
  if (fd < 0 || dup2(fd, target) < 0) { _exit(126); }
}

// Runs in a forked child; the arguments are prepared, and nothing is allocated any more.
[[noreturn]] void become(char** argv, char** environment) {
  for (int number = 1; number < NSIG; ++number) {
    std::signal(number, SIG_DFL);
  }
  setsid();
  close_all_but(0, 1);
  execve(argv[0], argv, environment);
  _exit(127);
}

// Opens the streams while the machine's own files are still visible.
[[noreturn]] void start_sibling(pid_t keeper, const std::vector<std::string>& argv,
                                const spawn_options& options, int pid_fd) {
  redirect("/dev/null", O_RDONLY, 0);
  redirect(options.stdout_path, O_WRONLY | O_CREAT | O_APPEND, 1);
  redirect(options.stderr_path, O_WRONLY | O_CREAT | O_APPEND, 2);
  std::vector<std::string> arguments = argv;
  std::vector<std::string> environment = environment_inside();
  environment.insert(environment.end(), options.environment.begin(), options.environment.end());
  if (join_namespaces(keeper, options.uptime_s) != 0) { _exit(errno); }
  const pid_t pid = fork_sibling();
  if (pid == 0) { become(pointers_to(arguments).data(), pointers_to(environment).data()); }
  const ssize_t put = write(pid_fd, &pid, sizeof pid);
  _exit(put == sizeof pid ? 0 : errno);
}

// The last number of the line "NSpid:" is the process's id in its innermost namespace.
pid_t innermost_pid(const fs::path& process) {
  for (const auto& line : lines_of(read_file(process / "status"))) {
    if (line.rfind("NSpid:", 0) == 0) { return std::atoi(line.c_str() + line.rfind('\t') + 1); }
  }
  return -1;
}

bool is_number(const std::string& text) {
  return !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) != 0;
}

std::vector<pid_t> pids_in(const std::string& proc) {
  std::vector<pid_t> pids;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(proc, error)) {
    const std::string name = entry.path().filename();
    if (is_number(name)) { pids.push_back(std::atoi(name.c_str())); }
  }
  return pids;
}

}  // namespace

pid_t private_root::spawn(const std::vector<std::string>& argv,
                          const spawn_options& options) const {
  int pid_pipe[2];
  EXPECT_EQ(pipe2(pid_pipe, O_CLOEXEC), 0);
  const pid_t starter = fork();
  if (starter == 0) { start_sibling(keeper_, argv, options, pid_pipe[1]); }
  close(pid_pipe[1]);
  pid_t pid = -1;
  const ssize_t got = ::read(pid_pipe[0], &pid, sizeof pid);
  close(pid_pipe[0]);
  int status = 0;
  waitpid(starter, &status, 0);
  EXPECT_EQ(got, static_cast<ssize_t>(sizeof pid))
      << argv[0] << " cannot be started: " << std::strerror(WEXITSTATUS(status));
  if (pid > 0) { spawned_.push_back(pid); }
  return pid;
}

run_result private_root::run(const std::vector<std::string>& argv) const {
  static int runs = 0;
  const std::string prefix = scratch("run-" + std::to_string(++runs));
  spawn_options options;
  options.stdout_path = prefix + ".out";
  options.stderr_path = prefix + ".err";
  const pid_t pid = spawn(argv, options);
  int status = 0;
  if (!wait_until([&] { return waitpid(pid, &status, WNOHANG) != 0; })) {
    ADD_FAILURE() << argv[0] << " did not end";
    ::kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
  }
  const int result = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return {result, read_file(options.stdout_path), read_file(options.stderr_path)};
}

int private_root::run_inside(const std::function<int()>& action) const {
  const pid_t pid = fork();
  if (pid == 0) { _exit(join_namespaces(keeper_) == 0 ? action() : 255); }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

std::vector<pid_t> private_root::processes() const {
  std::vector<pid_t> inside;
  for (const pid_t pid : pids_in(path("/proc"))) {
    if (pid != 1) { inside.push_back(pid); }
  }
  return inside;
}

pid_t private_root::inner_pid(pid_t outer) const {
  return innermost_pid("/proc/" + std::to_string(outer));
}

pid_t private_root::outer_pid(pid_t inner) const {
  std::error_code error;
  const auto own = fs::read_symlink("/proc/" + std::to_string(keeper_) + "/ns/pid", error);
  for (const pid_t pid : pids_in("/proc")) {
    const fs::path process = "/proc/" + std::to_string(pid);
    if (fs::read_symlink(process / "ns/pid", error) != own) { continue; }
    if (innermost_pid(process) == inner) { return pid; }
  }
  return -1;
}

}  // namespace qx_test
