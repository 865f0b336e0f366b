// Starting a job's child process, its pipes and buffers, and signals to its process group.
#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include <fcntl.h>
#include <unistd.h>

#include "exec/child_signals.h"
#include "exec/forked_child.h"
#include "platform/clock.h"
#include "platform/sliding_window_v4.h"
#include "queue/descriptor.h"
#include "queue/queue_item.h"
#include "service/process_state.h"

namespace {

// Exit statuses of a child that could not become its tool.
constexpr int exit_no_pipe = 254;
constexpr int exit_no_exec = 255;

// For how long from its start a tool may set up its handlers; one that has none by then never will.
// Also how long a resume waits for a tool that has not taken the pause before it.
constexpr std::uint64_t signal_patience_us = 2000000;

// In the child: puts a pipe end in a standard stream's place.
void move_pipe_end(int fd, int standard_fd) {
  if (fd == -1) { return; }
  if (!QueueItem::make_fd_inheritable(fd)) { _exit(exit_no_pipe); }
  dup2(fd, standard_fd);
  close(fd);
}

// The arguments as execv takes them, null at the end; null when there is no memory for it.
std::unique_ptr<char*[]> exec_arguments(std::vector<std::string>& proc_argv) {
  std::unique_ptr<char*[]> argv(new (std::nothrow) char*[proc_argv.size() + 1]);
  if (argv) {
    std::size_t i = 0;
    for (std::string& argument : proc_argv) {
      // The words of the assertion are known to those who read our logs.
      // clang-format off
      assert(i < (proc_argv.size()+1));
      // clang-format on
      argv[i++] = argument.data();
    }
    argv[i] = nullptr;
  }
  return argv;
}

}  // namespace

bool QueueItem::_std_open_anonpipe(int& read_end, int& write_end) {
  if (read_end != -1 || write_end != -1) { return false; }
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    fprintf(stderr, "pipe2() failed, %s\n", strerror(errno));
    return false;
  }
  read_end = ends[0];
  write_end = ends[1];
  return true;
}

bool QueueItem::make_fd_nonblocking(int fd) {
  const int flags = fcntl(fd, F_GETFL);
  if (flags == -1) { return false; }
  fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  return true;
}

bool QueueItem::make_fd_inheritable(int fd) {
  const int flags = fcntl(fd, F_GETFD);
  if (flags == -1) { return false; }
  fcntl(fd, F_SETFD, flags & ~FD_CLOEXEC);
  return true;
}

bool QueueItem::_std_init_buffer(sliding_window_v4*& buffer, unsigned long capacity) {
  buffer = sliding_window_v4_create_buffer(capacity);
  return buffer != nullptr;
}

bool QueueItem::open_proc_stdout() {
  if (!_std_open_anonpipe(proc_stdout_read_fd, proc_stdout_write_fd)) { return false; }
  proc_stdout_buffer = sliding_window_v4_destroy(proc_stdout_buffer);
  proc_drain_stdout_before_reap = false;
  if (!_std_init_buffer(proc_stdout_buffer, proc_buffer_size)) {
    close_proc_stdout();
    return false;
  }
  return true;
}

bool QueueItem::proc_prepare_fork_spawn() {
  proc_sm = sm;
  proc_stdout_seen = false;
  return true;
}

bool QueueItem::proc_spawn() {
  if (proc_pid != -1 || proc_argv.empty()) { return false; }
  proc_prepare_fork_spawn();
  const std::unique_ptr<char*[]> argv = exec_arguments(proc_argv);
  if (!argv) { return false; }
  {
    const pid_t service = getpid();
    const termination_signals_blocked blocked;
    proc_pid = fork();
    if (proc_pid == 0) {
      begin_child(service);
      become_child();
      execv(argv[0], argv.get());
      _exit(exit_no_exec);
    }
  }
  if (proc_pid == -1) {
    close_proc_stdin();
    close_proc_stdout();
    return false;
  }
  close_descriptor(proc_stdout_write_fd);
  close_descriptor(proc_stdin_read_fd);
  make_fd_nonblocking(proc_stdout_read_fd);
  make_fd_nonblocking(proc_stdin_write_fd);
  proc_patience_end = monotonic_clock_us() + signal_patience_us;
  proc_held_signal = 0;
  return true;
}

// In the child: keeps the pipe ends that are its streams and gives up everything else.
void QueueItem::become_child() {
  close_descriptor(proc_stdin_write_fd);
  move_pipe_end(proc_stdin_read_fd, STDIN_FILENO);
  close_descriptor(proc_stdout_read_fd);
  move_pipe_end(proc_stdout_write_fd, STDOUT_FILENO);
  if (proc_stdout_write_fd != -1 && proc_stderr_to_stdout) { dup2(STDOUT_FILENO, STDERR_FILENO); }
}

void QueueItem::close_proc_stdin() {
  proc_stdin_buffer = sliding_window_v4_destroy(proc_stdin_buffer);
  close_descriptor(proc_stdin_write_fd);
  close_descriptor(proc_stdin_read_fd);
}

void QueueItem::close_proc_stdout() {
  proc_stdout_buffer = sliding_window_v4_destroy(proc_stdout_buffer);
  close_descriptor(proc_stdout_write_fd);
  close_descriptor(proc_stdout_read_fd);
  proc_stderr_to_stdout = false;
}

void QueueItem::shutdown_proc() {
  proc_held_signal = 0;  // a suspended child might not end
  signal_proc_group(SIGTERM);
  close_proc_stdin();
  close_proc_stdout();
}

// A child that has not come as far as setsid() has no group yet. What is to end it then goes to
// itself, so that a cancel right after the start is not lost on a busy machine; a pause would end
// it as well, for it is no tool yet. Never once the child is reaped: the pid may be another process
// by then.
void QueueItem::signal_proc_group(int signal_number) const {
  if (proc_pid == -1) { return; }
  const bool is_to_end = signal_number == SIGTERM || signal_number == SIGKILL;
  if (kill(-proc_pid, signal_number) != 0 && errno == ESRCH && is_to_end && !proc_reaped) {
    kill(proc_pid, signal_number);
  }
}

void QueueItem::tell_transcoder(int signal_number) {
  if (proc_pid == -1) { return; }
  const bool is_taken_back = proc_held_signal != 0 && proc_held_signal != signal_number;
  proc_held_signal = is_taken_back ? 0 : signal_number;
  if (proc_held_signal == SIGUSR2 && has_signal(read_child_signals(proc_pid).pending, SIGUSR1)) {
    proc_patience_end = monotonic_clock_us() + signal_patience_us;
  }
  send_held_signal();
}

// Sent too early the signal would meet nobody, or end a tool that has no handler for it yet. Nor
// before the tool has taken the other one, since the kernel keeps no order between the two. A
// resume does not wait forever for that: a tool that suspends itself inside its handler cannot take
// a second pause until it is resumed.
void QueueItem::send_held_signal() {
  if (proc_held_signal == 0) { return; }
  if (sm.state != TRANSCODE_TRANSCODING) {
    proc_held_signal = 0;  // it was told to end meanwhile
    return;
  }
  const bool has_patience = monotonic_clock_us() < proc_patience_end;
  const child_signals child = read_child_signals(proc_pid);
  const bool waits_for_other = proc_held_signal == SIGUSR1
                                   ? has_signal(child.pending, SIGUSR2)
                                   : has_patience && has_signal(child.pending, SIGUSR1);
  if (!child.is_tool || waits_for_other ||
      (has_patience && !has_signal(child.caught, proc_held_signal))) {
    if (has_patience) { trigger_early_turn(); }
    return;
  }
  signal_proc_group(proc_held_signal);
  proc_held_signal = 0;
}

bool QueueItem::is_running() const {
  return proc_pid != -1 || proc_stdout_read_fd != -1 || proc_stdout_write_fd != -1 ||
         proc_stdout_buffer != nullptr;
}
