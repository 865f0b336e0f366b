#include "tools/qx_vod_ctl/doctor/service_process.h"

#include <climits>
#include <cstdio>
#include <cstdlib>

#include <sys/socket.h>
#include <unistd.h>

#include "platform/local_address.h"
#include "platform/unique_fd.h"
#include "tools/qx_vod_ctl/text_file.h"

namespace {

constexpr std::size_t stat_limit = 4096;
constexpr int start_field = 22;  // of /proc/PID/stat; the name in brackets is the second
constexpr const char* replaced_mark = " (deleted)";

// Field `number` of the process's line. The search skips the name, which may contain blanks and
// brackets.
std::string field_of(const std::string& line, int number) {
  std::size_t at = line.rfind(')');
  for (int field = 2; at != std::string::npos && field < number; ++field) {
    at = line.find(' ', at + 1);
  }
  return at == std::string::npos ? "" : line.substr(at + 1);
}

void read_executable(service_process& process) {
  char target[PATH_MAX];
  const std::string link = "/proc/" + std::to_string(process.pid) + "/exe";
  const ssize_t length = readlink(link.c_str(), target, sizeof target);
  if (length <= 0) { return; }
  process.executable.assign(target, static_cast<std::size_t>(length));
  const std::size_t mark = process.executable.rfind(replaced_mark);
  process.replaced = mark != std::string::npos;
  if (process.replaced) { process.executable.resize(mark); }
}

}  // namespace

bool find_service_process(const std::string& socket_path, service_process& process) {
  local_address address;
  const unique_fd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!connection.valid() || !address.set(socket_path)) { return false; }
  if (connect(connection.get(), address.get(), sizeof address.address) != 0) { return false; }
  ucred peer = {};
  socklen_t size = sizeof peer;
  if (getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) { return false; }
  process.pid = peer.pid;
  process.started = start_of_process(peer.pid);
  read_executable(process);
  return true;
}

// The kernel gives the start in ticks since the machine was booted.
std::time_t start_of_process(pid_t pid) {
  const auto stat = read_text_file("/proc/" + std::to_string(pid) + "/stat", stat_limit);
  const std::string ticks = field_of(stat.text, start_field);
  timespec up = {};
  if (ticks.empty() || clock_gettime(CLOCK_BOOTTIME, &up) != 0) { return 0; }
  const long age = up.tv_sec - std::atol(ticks.c_str()) / sysconf(_SC_CLK_TCK);
  return std::time(nullptr) - age;
}
