#include "tests/exec/exec_bench.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include "exec/child_pump.h"
#include "exec/item_control.h"
#include "exec/stuck_child.h"

using qx_test::kernel;

// The linker redirects the program's calls of these functions here (--wrap).
extern "C" {
pid_t __real_fork();
pid_t __real_waitpid(pid_t pid, int* status, int options);
int __real_kill(pid_t pid, int number);
int __real_pipe2(int* ends, int flags);
int __real_unlinkat(int directory, const char* name, int flags);
int __real_fstatfs(int fd, struct statfs* answer);
int __real_poll(pollfd* entries, nfds_t count, int timeout_ms);
int __real_rand();
unsigned __real__Z25cgi_velmar_forbidden_areaPKcj(const char* path, unsigned flags);
unsigned __real__Z28cgi_velmar_forbidden_area_fdij(int fd, unsigned flags);
std::size_t __real__Z13how_many_cpusv();
char* __real__Z29cgi_get_fileops_job_directoryimPc(std::int32_t id, unsigned long size,
                                                   char* buffer);

pid_t __wrap_fork() {
  return kernel.fork ? kernel.fork() : __real_fork();
}
pid_t __wrap_waitpid(pid_t pid, int* status, int options) {
  return kernel.waitpid ? kernel.waitpid(pid, status) : __real_waitpid(pid, status, options);
}
int __wrap_kill(pid_t pid, int number) {
  return kernel.kill ? kernel.kill(pid, number) : __real_kill(pid, number);
}
int __wrap_pipe2(int* ends, int flags) {
  return kernel.pipe2 ? kernel.pipe2(ends, flags) : __real_pipe2(ends, flags);
}
int __wrap_unlinkat(int directory, const char* name, int flags) {
  return kernel.unlinkat ? kernel.unlinkat(directory, name)
                         : __real_unlinkat(directory, name, flags);
}
int __wrap_fstatfs(int fd, struct statfs* answer) {
  const int result = __real_fstatfs(fd, answer);
  if (kernel.file_system != 0) { answer->f_type = kernel.file_system; }
  return result;
}
int __wrap_poll(pollfd* entries, nfds_t count, int timeout_ms) {
  return __real_poll(entries, count, kernel.waits_forever && timeout_ms > 0 ? -1 : timeout_ms);
}
int __wrap_rand() {
  return kernel.rand ? kernel.rand() : __real_rand();
}
unsigned __wrap__Z25cgi_velmar_forbidden_areaPKcj(const char* path, unsigned flags) {
  return kernel.forbidden_area ? kernel.forbidden_area(path, flags)
                               : __real__Z25cgi_velmar_forbidden_areaPKcj(path, flags);
}
unsigned __wrap__Z28cgi_velmar_forbidden_area_fdij(int fd, unsigned flags) {
  return kernel.forbidden_area_fd ? kernel.forbidden_area_fd(fd, flags)
                                  : __real__Z28cgi_velmar_forbidden_area_fdij(fd, flags);
}
char* __wrap__Z29cgi_get_fileops_job_directoryimPc(std::int32_t id, unsigned long size,
                                                   char* buffer) {
  return kernel.job_directory_is_known
             ? __real__Z29cgi_get_fileops_job_directoryimPc(id, size, buffer)
             : nullptr;
}
std::size_t __wrap__Z13how_many_cpusv() {
  return kernel.cpus != 0 ? kernel.cpus : __real__Z13how_many_cpusv();
}
}

namespace qx_test {

kernel_answers kernel;

fake_child::fake_child() {
  kernel.fork = [this] {
    ++started;
    return pid;
  };
  kernel.waitpid = [this](pid_t, int* status) {
    if (at_waitpid) { at_waitpid(); }
    if (!has_ended_) { return 0; }
    *status = wait_status_;
    return pid;
  };
  kernel.kill = [this](pid_t target, int number) {
    (target == -pid ? signals : stray_signals).push_back(number);
    return 0;
  };
  kernel.pipe2 = [this](int* ends, int flags) {
    const int result = __real_pipe2(ends, flags);
    close_stdout();
    stdout_fd_ = fcntl(ends[1], F_DUPFD_CLOEXEC, 3);
    return result;
  };
}

fake_child::~fake_child() {
  kernel = {};
  close_stdout();
}

void fake_child::run_for(QueueItem& item) {
  item.proc_prepare_fork_spawn();
  item.proc_pid = pid;
}

void fake_child::print(std::string_view bytes) const {
  EXPECT_EQ(write(stdout_fd_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

void fake_child::close_stdout() {
  if (stdout_fd_ >= 0) { close(stdout_fd_); }
  stdout_fd_ = -1;
}

void fake_child::end(int wait_status) {
  has_ended_ = true;
  wait_status_ = wait_status;
  close_stdout();
}

stderr_capture::stderr_capture()
    : saved_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)), file_(memfd_create("stderr", MFD_CLOEXEC)) {
  dup2(file_, STDERR_FILENO);
}

stderr_capture::~stderr_capture() {
  dup2(saved_, STDERR_FILENO);
  close(saved_);
  close(file_);
}

std::string stderr_capture::text() const {
  return read_file("/proc/self/fd/" + std::to_string(file_));
}

exec_bench::exec_bench() {
  std::signal(SIGPIPE, SIG_IGN);  // as the service does at its start
}

bool exec_bench::turn(QueueItem& item) {
  const pump_result pumped = pump_child(item);
  if (pumped.child_ended) { forget_child(item); }
  end_stuck_child(item);
  finish_pending_cancel(item);
  return pumped.active;
}

QueueItem& exec_bench::add_ready_item(ready_states state) {
  QueueItem& item = add_item(TRANSCODE_READY);
  item.sm.ready.set_state(state);
  return item;
}

QueueItem& exec_bench::add_candidate() {
  QueueItem& item = add_ready_item(READY_READY_TO_TRANSCODE);
  item.transcode_profile = "720";
  item.quoted_profile = {"720"};
  item.input_file = "/mnt/media/clip.mpg";
  item.output_file = "/mnt/main/tv/vod/clip.mp4";
  return item;
}

// Only children born after joining a process-id namespace belong to it, so work that looks at /proc
// is done by a child.
void private_exec_bench::inside(const std::function<void()>& action) const {
  const auto in_child = [&] {
    const pid_t pid = fork();
    if (pid == 0) {
      action();
      fflush(nullptr);
      _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  };
  EXPECT_EQ(root_.run_inside(in_child), 0);
}

QueueItem& private_exec_bench::add_source_item(transcode_states state) {
  QueueItem& item = add_item(state);
  EXPECT_TRUE(item.set_input_file("/mnt/media/clip.mpg"));
  return item;
}

}  // namespace qx_test
