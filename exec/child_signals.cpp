// Reads a child's entry in /proc.
#include "exec/child_signals.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "platform/unique_fd.h"

namespace {

std::string link_target(const char* path) {
  char target[4096];
  const ssize_t length = readlink(path, target, sizeof(target));
  return std::string(target, length < 0 ? 0 : static_cast<std::size_t>(length));
}

// Until its exec a child runs the service's own program.
bool runs_another_program(const std::string& process) {
  std::string const program = link_target((process + "/exe").c_str());
  return !program.empty() && program != link_target("/proc/self/exe");
}

std::string read_whole(const std::string& path) {
  const unique_fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  std::string text;
  char block[4096];
  ssize_t got = 0;
  while (file.valid() && (got = read(file.get(), block, sizeof(block))) != 0) {
    if (got < 0 && errno != EINTR) { return ""; }
    text.append(block, got < 0 ? 0 : static_cast<std::size_t>(got));
  }
  return text;
}

// The set of a line like SigCgt: 0000000180014203, the signals as bits from 1 on.
std::uint64_t read_set(const std::string& status, const char* name) {
  std::size_t const at = status.find(std::string("\n") + name + ":");
  return at == std::string::npos ? 0
                                 : strtoull(status.c_str() + status.find(':', at) + 1, nullptr, 16);
}

}  // namespace

child_signals read_child_signals(pid_t pid) {
  std::string const process = "/proc/" + std::to_string(pid);
  std::string const status = read_whole(process + "/status");
  if (status.empty()) { return {true, 0, ~std::uint64_t{0}}; }
  return {runs_another_program(process), read_set(status, "ShdPnd"), read_set(status, "SigCgt")};
}
