// What the trial of faults and the library that injects them share: a file that both have mapped.
#pragma once

#include <atomic>

namespace qx_test {

// The calls that can fail. Each has the error that is most likely in practice.
enum class fault_call {
  none,
  accept4_,
  bind_,
  chmod_,
  clock_gettime_,
  close_,
  dup2_,
  execv_,
  fchmod_,
  fclose_,
  fcntl_,
  fdopen_,
  fdopendir_,
  flock_,
  fopen_,
  fork_,
  fstat_,
  fstatat_,
  fsync_,
  ftruncate_,
  kill_,
  listen_,
  lstat_,
  malloc_,
  mkdir_,
  open_,
  openat_,
  opendir_,
  pipe2_,
  poll_,
  read_,
  readdir_,
  readlinkat_,
  realpath_,
  recv_,
  rename_,
  renameat_,
  rmdir_,
  send_,
  setsid_,
  socket_,
  stat_,
  sysinfo_,
  unlink_,
  unlinkat_,
  waitpid_,
  write_,
  count
};

constexpr const char* fault_call_names[] = {
    "none",    "accept4",  "bind",     "chmod",   "clock_gettime", "close",     "dup2",
    "execv",   "fchmod",   "fclose",   "fcntl",   "fdopen",        "fdopendir", "flock",
    "fopen",   "fork",     "fstat",    "fstatat", "fsync",         "ftruncate", "kill",
    "listen",  "lstat",    "malloc",   "mkdir",   "open",          "openat",    "opendir",
    "pipe2",   "poll",     "read",     "readdir", "readlinkat",    "realpath",  "recv",
    "rename",  "renameat", "rmdir",    "send",    "setsid",        "socket",    "stat",
    "sysinfo", "unlink",   "unlinkat", "waitpid", "write"};

// The path of the file is in this variable of the service's environment.
constexpr char fault_plan_variable[] = "QX_FAULT_PLAN";

struct fault_plan {
  std::atomic<int> armed;     // a fault_call
  std::atomic<long> first;    // the number of the call that fails, from 1
  std::atomic<bool> forever;  // and all that follow
  std::atomic<long> injected;
  std::atomic<long> seen[static_cast<int>(fault_call::count)];  // calls since this was set to 0
};

}  // namespace qx_test
