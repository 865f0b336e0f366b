#include "tests/support/service_process.h"

#include <csignal>
#include <filesystem>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/control_client.h"
#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t lines_shown_on_failure = 80;

exit_result decoded(int wait_status) {
  exit_result result;
  if (WIFSIGNALED(wait_status)) { result.signal = WTERMSIG(wait_status); }
  if (WIFEXITED(wait_status)) { result.status = WEXITSTATUS(wait_status); }
  return result;
}

}  // namespace

// One copy per private root, because the service locks its own executable.
service_process::service_process(const private_root& root) : root_(root) {
  std::error_code error;
  fs::copy_file(built_program("qx_vod_service"), root.scratch("qx_vod_service"), error);
  EXPECT_FALSE(error) << "the service is not built: " << error.message();
}

service_process::~service_process() {
  if (running()) {
    kill_tools();
    signal(SIGTERM);
    const bool ended = wait_until([&] {
      kill_tools();
      return !running();
    });
    EXPECT_TRUE(ended) << "the service did not stop";
    if (!ended) { kill(); }
    EXPECT_EQ(ended_->status, 0) << "signal " << ended_->signal;
  }
  if (!::testing::Test::HasFailure()) { return; }
  const auto lines = stderr_lines();
  const auto first =
      lines.size() > lines_shown_on_failure ? lines.size() - lines_shown_on_failure : 0;
  for (auto i = first; i < lines.size(); ++i) {
    std::fprintf(stderr, "service: %s\n", lines[i].c_str());
  }
}

void service_process::launch(const std::vector<std::string>& arguments) {
  ASSERT_FALSE(running()) << "the service runs already";
  spawn_options options;
  stderr_path_ = root_.scratch("service-" + std::to_string(++run_) + ".stderr");
  options.stderr_path = stderr_path_;
  options.uptime_s = uptime_s_;
  options.environment = environment_;
  std::vector<std::string> argv = {root_.scratch("qx_vod_service")};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  ended_.reset();
  pid_ = root_.spawn(argv, options);
}

void service_process::start() {
  launch();
  const control_client client(root_);
  const bool answers =
      wait_until([&] { return !running() || client.request("test").status() == "OK"; });
  EXPECT_TRUE(answers && running()) << "the service does not answer:\n" << stderr_text();
}

void service_process::restart() {
  const auto result = stop();
  EXPECT_EQ(result.status, 0) << "signal " << result.signal;
  start();
}

exit_result service_process::stop() {
  signal(SIGTERM);
  return wait_for_exit();
}

void service_process::kill() {
  signal(SIGKILL);
  wait_for_exit();
}

void service_process::signal(int number) const {
  if (pid_ > 0 && !ended_) { ::kill(pid_, number); }
}

bool service_process::running() {
  int wait_status = 0;
  if (pid_ > 0 && !ended_ && waitpid(pid_, &wait_status, WNOHANG) == pid_) {
    ended_ = decoded(wait_status);
  }
  return pid_ > 0 && !ended_;
}

exit_result service_process::wait_for_exit(std::chrono::milliseconds deadline) {
  EXPECT_TRUE(wait_until([&] { return !running(); }, deadline)) << "the service did not end";
  return ended_.value_or(exit_result{});
}

std::string service_process::stderr_text() const {
  return read_file(stderr_path_);
}

std::vector<std::string> service_process::stderr_lines() const {
  return lines_of(stderr_text());
}

bool service_process::wait_for_stderr(std::string_view text) const {
  return wait_until([&] { return stderr_text().find(text) != std::string::npos; });
}

std::map<int, std::string> service_process::open_descriptors() const {
  std::map<int, std::string> descriptors;
  std::error_code error;
  const std::string folder = "/proc/" + std::to_string(pid_) + "/fd";
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    descriptors[std::atoi(entry.path().filename().c_str())] =
        fs::read_symlink(entry.path(), error).string();
  }
  return descriptors;
}

// Every tool leads its own session; a process in the service's session is not a tool, such as the
// one that the leak check starts at the service's exit.
void service_process::kill_tools() const {
  for (const pid_t inner : root_.processes()) {
    const pid_t outer = root_.outer_pid(inner);
    if (outer > 0 && getsid(outer) != pid_) { ::kill(outer, SIGKILL); }
  }
}

}  // namespace qx_test
