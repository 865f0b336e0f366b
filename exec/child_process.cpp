// Starts an item's child process and manages its pipes and buffers.
#include "exec/child_process.h"

#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include <fcntl.h>
#include <unistd.h>

#include "exec/forked_child.h"
#include "exec/held_signal.h"
#include "exec/stuck_child.h"
#include "platform/out_of_memory.h"
#include "platform/sliding_window_v4.h"
#include "queue/descriptor.h"
#include "queue/queue_item.h"

namespace {

// Exit statuses of a child that could not execute its tool.
constexpr int exit_no_pipe = 254;
constexpr int exit_no_exec = 255;

// In the child: makes a pipe end one of the standard streams.
void move_pipe_end(int fd, int standard_fd) {
  if (fd == -1) { return; }
  if (!QueueItem::make_fd_inheritable(fd)) { _exit(exit_no_pipe); }
  dup2(fd, standard_fd);
  close(fd);
}

// The arguments in the form that execv expects, ending with a null; null if memory is short.
std::unique_ptr<char*[]> exec_arguments(std::vector<std::string>& proc_argv) {
  std::unique_ptr<char*[]> argv(new (std::nothrow) char*[proc_argv.size() + 1]);
  if (argv) {
    std::size_t i = 0;
    for (std::string& argument : proc_argv) {
      // Operators know this assertion from the logs, so its wording stays.
      // clang-format off
      assert(i < (proc_argv.size()+1));
      // clang-format on
      argv[i++] = argument.data();
    }
    argv[i] = nullptr;
  }
  return argv;
}

// Without a child, the item must not count as running.
void release_streams(QueueItem& item) {
  item.close_proc_stdin();
  item.close_proc_stdout();
}

// In the child: keeps the pipe ends that are its streams and closes the others.
void take_streams(QueueItem& item) {
  close_descriptor(item.proc_stdin_write_fd);
  move_pipe_end(item.proc_stdin_read_fd, STDIN_FILENO);
  close_descriptor(item.proc_stdout_read_fd);
  move_pipe_end(item.proc_stdout_write_fd, STDOUT_FILENO);
  if (item.proc_stdout_write_fd != -1 && item.proc_stderr_to_stdout) {
    dup2(STDOUT_FILENO, STDERR_FILENO);
  }
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

void prepare_silent_child(QueueItem& item) {
  item.close_proc_stdin();
  item.close_proc_stdout();
  item.proc_drain_stdout_before_reap = false;
}

bool QueueItem::proc_prepare_fork_spawn() {
  proc_sm = sm;
  proc_stdout_seen = false;
  return true;
}

bool spawn_after(QueueItem& item, void (*prepare)(const QueueItem& item)) {
  if (item.proc_pid != -1 || item.proc_argv.empty()) { return false; }
  item.proc_prepare_fork_spawn();
  const std::unique_ptr<char*[]> argv = exec_arguments(item.proc_argv);
  if (!argv) {
    tell_out_of_memory("a tool was not started");
    release_streams(item);
    return false;
  }
  {
    const pid_t service = getpid();
    const termination_signals_blocked blocked;
    item.proc_pid = fork();
    if (item.proc_pid == 0) {
      begin_child(service, item.proc_stdin_read_fd, item.proc_stdout_write_fd);
      take_streams(item);
      in_forked_child([&] { prepare(item); });
      execv(argv[0], argv.get());
      _exit(exit_no_exec);
    }
  }
  if (item.proc_pid == -1) {
    release_streams(item);
    return false;
  }
  close_descriptor(item.proc_stdout_write_fd);
  close_descriptor(item.proc_stdin_read_fd);
  QueueItem::make_fd_nonblocking(item.proc_stdout_read_fd);
  QueueItem::make_fd_nonblocking(item.proc_stdin_write_fd);
  expect_handlers(item);
  return true;
}

bool QueueItem::proc_spawn() {
  return spawn_after(*this, [](const QueueItem&) {});
}

void QueueItem::shutdown_proc() {
  proc_held_signal = 0;  // a suspended child might never end
  signal_proc_group(SIGTERM);
  limit_termination(*this);
  close_proc_stdin();
  close_proc_stdout();
}
