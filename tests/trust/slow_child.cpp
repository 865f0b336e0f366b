// Loaded into the service, it holds each child for a while right after the fork, with all that the
// child has inherited.
#include <dlfcn.h>
#include <unistd.h>

namespace {

constexpr useconds_t gap_us = 200000;

}  // namespace

extern "C" pid_t fork() {
  using fork_function = pid_t (*)();
  static const auto next = reinterpret_cast<fork_function>(dlsym(RTLD_NEXT, "fork"));
  const pid_t pid = next();
  if (pid == 0) { usleep(gap_us); }
  return pid;
}
