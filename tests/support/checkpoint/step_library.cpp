// Loaded into the transcoder before its other libraries: kills it, its engine or both right before
// a chosen step, makes a chosen engine wait before it begins, and keeps a journal of what has
// reached the disk. What the steps are, and how they are chosen, is in step_plan.h.
//
// Engines are left alone: the tool gives them an environment of their own.
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/checkpoint/disk_journal.h"
#include "tests/support/checkpoint/step_plan.h"

using qx_test::step_action;

namespace {

qx_test::step_plan* plan = nullptr;
constexpr int most_descriptors = 1024;
pid_t owner = -1;  // children between fork and exec take no steps

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Nothing before this has run: the constructors of the library precede the program's.
__attribute__((constructor)) void map_plan() {
  const char* const path = getenv(qx_test::step_plan_variable);
  if (path == nullptr) { return; }
  const int fd = open(path, O_RDWR | O_CLOEXEC);
  void* const place =
      mmap(nullptr, sizeof(qx_test::step_plan), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  unsetenv("LD_PRELOAD");
  unsetenv(qx_test::step_plan_variable);
  owner = getpid();
  if (place != MAP_FAILED) { plan = static_cast<qx_test::step_plan*>(place); }
}

void kill_children() {
  const std::string number = std::to_string(getpid());
  std::ifstream list("/proc/" + number + "/task/" + number + "/children");
  for (pid_t child = -1; list >> child;) {
    kill(child, SIGKILL);
  }
}

void take_action(step_action action) {
  plan->happened = 1;
  if (action == step_action::kill_tool) { kill(getpid(), SIGKILL); }
  if (action == step_action::kill_engine) { kill_children(); }
  if (action == step_action::kill_group) { kill(0, SIGKILL); }
  if (action == step_action::terminate_group) { kill(0, SIGTERM); }
}

enum class step_kind { gives_name, other };

void step(step_kind kind = step_kind::other) {
  if (plan == nullptr || getpid() != owner) { return; }
  const bool is_armed = ++plan->seen == plan->armed;
  const bool is_armed_name = kind == step_kind::gives_name && ++plan->names == plan->armed_name;
  if (is_armed || is_armed_name) { take_action(static_cast<step_action>(plan->action.load())); }
}

void stop_if_wanted() {
  if (plan == nullptr || getpid() != owner || plan->stops_at_flush.exchange(0) == 0) { return; }
  plan->stopped = owner;
  raise(SIGSTOP);
}

void flushed(int fd) {
  if (plan == nullptr || getpid() != owner || plan->journal[0] == '\0') { return; }
  // A journal with a gap would prove nothing.
  if (!qx_test::add_to_journal(plan->journal, ++plan->entries, fd)) { abort(); }
}

bool is_to_wait(char* const* argv) {
  if (plan == nullptr || plan->held_argument[0] == '\0') { return false; }
  for (; *argv != nullptr; ++argv) {
    if (std::strcmp(*argv, plan->held_argument) == 0) { return --plan->passing < 0; }
  }
  return false;
}

// The tool takes a program for started when its descriptors that are closed on that are closed.
void close_as_started() {
  for (int fd = STDERR_FILENO + 1; fd < most_descriptors; ++fd) {
    const int flags = fcntl(fd, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) != 0) { close(fd); }
  }
}

void wait_for_release() {
  close_as_started();
  int none = 0;
  plan->held.compare_exchange_strong(none, getpid());
  const timespec moment = {0, 2000000};
  while (plan->released == 0) {
    nanosleep(&moment, nullptr);
  }
}

}  // namespace

extern "C" {

// A function that takes a step each time it is called.
#define STEP(kind, result, name, parameters, arguments)                                            \
  result name parameters {                                                                         \
    static auto* const real = next<result parameters>(#name);                                      \
    step(step_kind::kind);                                                                         \
    return real arguments;                                                                         \
  }

STEP(other, pid_t, fork, (), ())
STEP(gives_name, int, linkat, (int from_fd, const char* from, int to_fd, const char* to, int flags),
     (from_fd, from, to_fd, to, flags))
STEP(other, int, mkdirat, (int folder, const char* path, mode_t mode), (folder, path, mode))
STEP(gives_name, int, rename, (const char* from, const char* to), (from, to))
STEP(gives_name, int, renameat, (int from_fd, const char* from, int to_fd, const char* to),
     (from_fd, from, to_fd, to))
STEP(gives_name, int, renameat2,
     (int from_fd, const char* from, int to_fd, const char* to, unsigned int flags),
     (from_fd, from, to_fd, to, flags))
STEP(other, int, unlinkat, (int fd, const char* path, int flags), (fd, path, flags))
#undef STEP

int fsync(int fd) {
  static auto* const real = next<int(int)>("fsync");
  step();
  stop_if_wanted();
  const int result = real(fd);
  if (result == 0) { flushed(fd); }
  return result;
}

int fdatasync(int fd) {
  static auto* const real = next<int(int)>("fdatasync");
  step();
  stop_if_wanted();
  const int result = real(fd);
  if (result == 0) { flushed(fd); }
  return result;
}

int execve(const char* path, char* const* argv, char* const* environment) {
  static auto* const real = next<int(const char*, char* const*, char* const*)>("execve");
  if (is_to_wait(argv)) { wait_for_release(); }
  return real(path, argv, environment);
}

}  // extern "C"
