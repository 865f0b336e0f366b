// Sends signals to a child, and reads from its entry in /proc how far it is with them.
#include "exec/child_signals.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "queue/queue_item.h"

namespace {

constexpr std::size_t status_limit = 65536;  // bytes; some 1500 are usual

std::string link_target(const char* path) {
  char target[4096];
  const ssize_t length = readlink(path, target, sizeof(target));
  return std::string(target, length < 0 ? 0 : static_cast<std::size_t>(length));
}

// Before its exec a child still runs the service's program.
bool runs_another_program(const std::string& process) {
  std::string const program = link_target((process + "/exe").c_str());
  return !program.empty() && program != link_target("/proc/self/exe");
}

std::string read_status(const std::string& process) {
  const unique_fd file(open((process + "/status").c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  return file.valid() && read_all(file.get(), status_limit, text) ? text : "";
}

// The set from a line like SigCgt: 0000000180014203; bit 0 is signal 1.
std::uint64_t read_set(const std::string& status, const char* name) {
  std::size_t const at = status.find(std::string("\n") + name + ":");
  return at == std::string::npos ? 0
                                 : strtoull(status.c_str() + status.find(':', at) + 1, nullptr, 16);
}

}  // namespace

child_signals read_child_signals(pid_t pid) {
  std::string const process = "/proc/" + std::to_string(pid);
  std::string const status = read_status(process);
  if (status.empty()) { return {true, 0, ~std::uint64_t{0}}; }
  return {runs_another_program(process), read_set(status, "ShdPnd"), read_set(status, "SigCgt")};
}

// A child that has not called setsid() yet has no group. A signal that ends it is then sent to the
// child itself, so that a cancel right after the start is not lost on a busy machine; a pause is
// not, because it would end the child before it becomes the tool. Never after the child is reaped:
// the pid may belong to another process by then.
void QueueItem::signal_proc_group(int signal_number) const {
  if (proc_pid == -1) { return; }
  const bool is_to_end = signal_number == SIGTERM || signal_number == SIGKILL;
  if (kill(-proc_pid, signal_number) != 0 && errno == ESRCH && is_to_end && !proc_reaped) {
    kill(proc_pid, signal_number);
  }
}
