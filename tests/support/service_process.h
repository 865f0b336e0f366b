// The service binary, run in a private root and observed from outside.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/private_root.h"

namespace qx_test {

// How a process ended: one of the two is set, the other is -1.
struct exit_result {
  int status = -1;
  int signal = -1;
};

// The destructor stops a running service with SIGTERM, killing its tools first so that it does not
// wait for them, and fails the test unless the service exits with 0. So every test also checks an
// orderly shutdown and, under the sanitizers, leaks.
class service_process {
public:
  explicit service_process(const private_root& root);
  ~service_process();
  service_process(const service_process&) = delete;
  service_process& operator=(const service_process&) = delete;

  // Starts it and waits until the control socket answers; a failure fails the test.
  void start();
  // Starts it without waiting, for tests of start-up failures and arguments.
  void launch(const std::vector<std::string>& arguments = {});
  // SIGTERM, wait for the end, start again with an empty standard error.
  void restart();

  // SIGTERM, then wait.
  exit_result stop();
  // SIGKILL to the service alone: its tools survive, as they would on a real machine.
  void kill();
  void signal(int number) const;
  bool running();
  // Waits for the end; the test fails at the deadline.
  exit_result wait_for_exit(std::chrono::milliseconds deadline = default_exit_deadline);

  // Everything this run has written to standard error so far.
  std::string stderr_text() const;
  std::vector<std::string> stderr_lines() const;
  // Whether the text appeared before the deadline.
  bool wait_for_stderr(std::string_view text) const;

  // The uptime that the machine reports when the service starts, in seconds.
  void set_uptime(long seconds) { uptime_s_ = seconds; }

  // Entries "NAME=VALUE" that it is started with.
  void set_environment(std::vector<std::string> entries) { environment_ = std::move(entries); }

  pid_t pid() const { return pid_; }                         // as the test sees it
  pid_t inner_pid() const { return root_.inner_pid(pid_); }  // as the service sees it
  // The numbers of the descriptors that the service has open.
  std::map<int, std::string> open_descriptors() const;

  static constexpr std::chrono::seconds default_exit_deadline{60};

private:
  void kill_tools() const;

  const private_root& root_;
  pid_t pid_ = -1;
  int run_ = 0;
  long uptime_s_ = 100000;
  std::vector<std::string> environment_;
  std::string stderr_path_;
  std::optional<exit_result> ended_;
};

}  // namespace qx_test
