#include "tests/support/namespaces.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <limits>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifndef CLONE_NEWTIME
#define CLONE_NEWTIME 0x00000080
#endif

namespace qx_test {

namespace {

constexpr long long nanoseconds = 1000000000;

int write_proc_file(const char* path, const std::string& text) {
  const int fd = open(path, O_WRONLY | O_CLOEXEC);
  if (fd < 0) { return -1; }
  const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  const int error = errno;
  close(fd);
  errno = error;
  return written ? 0 : -1;
}

int become_root_of_user_namespace() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(CLONE_NEWUSER) != 0) { return -1; }
  if (write_proc_file("/proc/self/setgroups", "deny") != 0) { return -1; }
  if (write_proc_file("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") != 0) { return -1; }
  return write_proc_file("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

// Offsets are relative to the machine's own clock, and set while the caller is still in its
// namespace.
int give_children_uptime(long uptime_s) {
  timespec now{};
  if (clock_gettime(CLOCK_BOOTTIME, &now) != 0 || unshare(CLONE_NEWTIME) != 0) { return -1; }
  const long long offset = (uptime_s - now.tv_sec) * nanoseconds - now.tv_nsec;
  const long long fraction = ((offset % nanoseconds) + nanoseconds) % nanoseconds;
  return write_proc_file("/proc/self/timens_offsets",
                         "boottime " + std::to_string((offset - fraction) / nanoseconds) + " " +
                             std::to_string(fraction));
}

int open_namespace(pid_t pid, const char* name) {
  return open(("/proc/" + std::to_string(pid) + "/ns/" + name).c_str(), O_RDONLY | O_CLOEXEC);
}

// `uptime_s` is negative to keep the machine's own uptime.
int join(pid_t keeper, long uptime_s) {
  const bool is_root = geteuid() == 0;
  const int user = open_namespace(keeper, "user");
  const int processes = open_namespace(keeper, "pid");
  const int mounts = open_namespace(keeper, "mnt");
  if (user < 0 || processes < 0 || mounts < 0) { return -1; }
  if (!is_root && setns(user, CLONE_NEWUSER) != 0) { return -1; }
  if (uptime_s >= 0 && give_children_uptime(uptime_s) != 0) { return -1; }
  if (setns(processes, CLONE_NEWPID) != 0) { return -1; }
  return setns(mounts, CLONE_NEWNS);
}

void close_range_of(int first, int last) {
  if (first <= last) { syscall(SYS_close_range, first, last, 0); }
}

}  // namespace

int make_namespaces() {
  if (geteuid() != 0 && become_root_of_user_namespace() != 0) { return -1; }
  return unshare(CLONE_NEWNS | CLONE_NEWPID);
}

int mount_private_root(const std::string& folder) {
  const std::string layers = "lowerdir=" + folder + "/tools:/usr/bin";
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) { return -1; }
  if (mount("overlay", "/usr/bin", "overlay", 0, layers.c_str()) != 0) { return -1; }
  if (mount((folder + "/mnt").c_str(), "/mnt", nullptr, MS_BIND, nullptr) != 0) { return -1; }
  return mount((folder + "/run").c_str(), "/run", nullptr, MS_BIND, nullptr);
}

int mount_own_proc() {
  return mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr);
}

int join_namespaces(pid_t keeper) {
  return join(keeper, -1);
}

int join_namespaces(pid_t keeper, long uptime_s) {
  return join(keeper, uptime_s);
}

pid_t fork_sibling() {
  return static_cast<pid_t>(
      syscall(SYS_clone, CLONE_PARENT | SIGCHLD, nullptr, nullptr, nullptr, nullptr));
}

void close_all_but(int first, int second) {
  const auto [low, high] = std::minmax(first, second);
  close_range_of(3, low - 1);
  close_range_of(std::max(low + 1, 3), high - 1);
  close_range_of(std::max(high + 1, 3), std::numeric_limits<int>::max());
}

}  // namespace qx_test
