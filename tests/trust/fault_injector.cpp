// Loaded into the service before its other libraries: lets the calls fail that the plan names, also
// in a child until it executes its program. A tool that the service starts is left alone.
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/trust/fault_plan.h"

using qx_test::fault_call;

namespace {

qx_test::fault_plan* plan = nullptr;

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Nothing before this has run: the constructors of the library precede the program's.
__attribute__((constructor)) void map_plan() {
  const char* const path = getenv(qx_test::fault_plan_variable);
  if (path == nullptr) { return; }
  const int fd = next<int(const char*, int, ...)>("open")(path, O_RDWR | O_CLOEXEC);
  void* const place =
      mmap(nullptr, sizeof(qx_test::fault_plan), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  next<int(int)>("close")(fd);
  unsetenv("LD_PRELOAD");
  unsetenv(qx_test::fault_plan_variable);
  if (place != MAP_FAILED) { plan = static_cast<qx_test::fault_plan*>(place); }
}

bool fails(fault_call call, int error) {
  if (plan == nullptr) { return false; }
  const long number = ++plan->seen[static_cast<int>(call)];
  if (plan->armed != static_cast<int>(call)) { return false; }
  const bool is_hit = plan->forever ? number >= plan->first : number == plan->first;
  if (!is_hit) { return false; }
  ++plan->injected;
  errno = error;
  return true;
}

mode_t mode_argument(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t size);

// A function with its result, and what it returns when it fails.
#define FAULTY(result, name, parameters, arguments, error, failure)                                \
  result name parameters {                                                                         \
    static auto* const real = next<result parameters>(#name);                                      \
    return fails(fault_call::name##_, error) ? failure : real arguments;                           \
  }

FAULTY(int, accept4, (int fd, sockaddr* address, socklen_t* size, int flags),
       (fd, address, size, flags), EMFILE, -1)
FAULTY(int, bind, (int fd, const sockaddr* address, socklen_t size), (fd, address, size), EACCES,
       -1)
FAULTY(int, chmod, (const char* path, mode_t mode), (path, mode), EPERM, -1)
FAULTY(int, dup2, (int from, int to), (from, to), EIO, -1)
FAULTY(int, execv, (const char* path, char* const* argv), (path, argv), ENOMEM, -1)
FAULTY(int, fchmod, (int fd, mode_t mode), (fd, mode), EPERM, -1)
FAULTY(FILE*, fdopen, (int fd, const char* mode), (fd, mode), ENOMEM, nullptr)
FAULTY(DIR*, fdopendir, (int fd), (fd), ENOMEM, nullptr)
FAULTY(int, flock, (int fd, int operation), (fd, operation), ENOLCK, -1)
FAULTY(FILE*, fopen, (const char* path, const char* mode), (path, mode), ENFILE, nullptr)
FAULTY(pid_t, fork, (), (), EAGAIN, -1)
FAULTY(int, fstat, (int fd, struct stat* status), (fd, status), EIO, -1)
FAULTY(int, fstatat, (int fd, const char* path, struct stat* status, int flags),
       (fd, path, status, flags), EIO, -1)
FAULTY(int, fsync, (int fd), (fd), EIO, -1)
FAULTY(int, ftruncate, (int fd, off_t size), (fd, size), EIO, -1)
FAULTY(int, kill, (pid_t pid, int number), (pid, number), EPERM, -1)
FAULTY(int, listen, (int fd, int backlog), (fd, backlog), EADDRINUSE, -1)
FAULTY(int, lstat, (const char* path, struct stat* status), (path, status), EIO, -1)
FAULTY(int, mkdir, (const char* path, mode_t mode), (path, mode), ENOSPC, -1)
FAULTY(DIR*, opendir, (const char* path), (path), EMFILE, nullptr)
FAULTY(int, pipe2, (int* ends, int flags), (ends, flags), EMFILE, -1)
FAULTY(int, poll, (pollfd * entries, nfds_t count, int timeout), (entries, count, timeout), ENOMEM,
       -1)
FAULTY(ssize_t, read, (int fd, void* bytes, std::size_t size), (fd, bytes, size), EIO, -1)
FAULTY(dirent*, readdir, (DIR * folder), (folder), EIO, nullptr)
FAULTY(ssize_t, readlinkat, (int fd, const char* path, char* text, std::size_t size),
       (fd, path, text, size), EIO, -1)
FAULTY(char*, realpath, (const char* path, char* resolved), (path, resolved), EIO, nullptr)
FAULTY(ssize_t, recv, (int fd, void* bytes, std::size_t size, int flags), (fd, bytes, size, flags),
       ECONNRESET, -1)
FAULTY(int, rename, (const char* from, const char* to), (from, to), EIO, -1)
FAULTY(int, renameat, (int from_fd, const char* from, int to_fd, const char* to),
       (from_fd, from, to_fd, to), EIO, -1)
FAULTY(int, rmdir, (const char* path), (path), EIO, -1)
FAULTY(ssize_t, send, (int fd, const void* bytes, std::size_t size, int flags),
       (fd, bytes, size, flags), EPIPE, -1)
FAULTY(pid_t, setsid, (), (), EPERM, -1)
FAULTY(int, socket, (int domain, int type, int protocol), (domain, type, protocol), ENFILE, -1)
FAULTY(int, stat, (const char* path, struct stat* status), (path, status), EIO, -1)
FAULTY(int, sysinfo, (struct sysinfo * info), (info), EFAULT, -1)
FAULTY(int, unlink, (const char* path), (path), EIO, -1)
FAULTY(int, unlinkat, (int fd, const char* path, int flags), (fd, path, flags), EIO, -1)
FAULTY(pid_t, waitpid, (pid_t pid, int* status, int options), (pid, status, options), EINTR, -1)
FAULTY(ssize_t, write, (int fd, const void* bytes, std::size_t size), (fd, bytes, size), ENOSPC, -1)
#undef FAULTY

int clock_gettime(clockid_t clock, timespec* now) {
  static auto* const real = next<int(clockid_t, timespec*)>("clock_gettime");
  return fails(fault_call::clock_gettime_, EINVAL) ? -1 : real(clock, now);
}

// The kernel closes the descriptor even where it reports an error.
int close(int fd) {
  static auto* const real = next<int(int)>("close");
  const int result = real(fd);
  return fails(fault_call::close_, EIO) ? -1 : result;
}

int fclose(FILE* file) {
  static auto* const real = next<int(FILE*)>("fclose");
  const int result = real(file);
  return fails(fault_call::fclose_, ENOSPC) ? EOF : result;
}

int fcntl(int fd, int command, ...) {
  static auto* const real = next<int(int, int, ...)>("fcntl");
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  return fails(fault_call::fcntl_, EMFILE) ? -1 : real(fd, command, argument);
}

int open(const char* path, int flags, ...) {
  static auto* const real = next<int(const char*, int, ...)>("open");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_argument(flags, arguments);
  va_end(arguments);
  return fails(fault_call::open_, EMFILE) ? -1 : real(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
  static auto* const real = next<int(int, const char*, int, ...)>("openat");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = mode_argument(flags, arguments);
  va_end(arguments);
  return fails(fault_call::openat_, EMFILE) ? -1 : real(folder, path, flags, mode);
}

void* malloc(std::size_t size) {
  return fails(fault_call::malloc_, ENOMEM) ? nullptr : __libc_malloc(size);
}

}  // extern "C"
