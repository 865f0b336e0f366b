// Loaded into the service, it holds each child for a while between fork and exec: a child calls
// setsid() first.
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr useconds_t gap_us = 200000;

}  // namespace

extern "C" pid_t setsid() {
  usleep(gap_us);
  return static_cast<pid_t>(syscall(SYS_setsid));
}
