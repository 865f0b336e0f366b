// Starting a child: what it inherits, what it does not, and what is left if it cannot be started.
#include <cerrno>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "platform/descriptor_limit.h"
#include "platform/sliding_window_v4.h"
#include "platform/unique_fd.h"
#include "tests/exec/exec_bench.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::HasSubstr;

namespace {

// A descriptor that a child must have given up by then, or it ends.
int closed_at_setsid = -1;

class child_process : public exec_bench {
protected:
  child_process() { item_.sm.set_state(TRANSCODE_READY); }
  ~child_process() override { end_child(); }

  // With a pipe for its output.
  bool spawn_shell(const std::string& script) {
    item_.proc_argv = {"/bin/sh", "-c", script};
    EXPECT_TRUE(item_.open_proc_stdout());
    return item_.proc_spawn();
  }
  void end_child() {
    if (item_.proc_pid == -1) { return; }
    item_.signal_proc_group(SIGKILL);
    wait_status();
  }
  // Waits for the child to end.
  int wait_status() {
    int status = 0;
    waitpid(item_.proc_pid, &status, 0);
    item_.proc_pid = -1;
    return status;
  }
  // Everything the child prints until it ends.
  std::string output() {
    std::string text;
    EXPECT_TRUE(wait_until([&] {
      char block[4096];
      ssize_t got = 0;
      while ((got = read(item_.proc_stdout_read_fd, block, sizeof block)) > 0) {
        text.append(block, static_cast<std::size_t>(got));
      }
      return got == 0;
    }));
    return text;
  }
  bool has_no_pipes() const {
    return item_.proc_stdout_read_fd == -1 && item_.proc_stdout_write_fd == -1 &&
           item_.proc_stdin_read_fd == -1 && item_.proc_stdin_write_fd == -1 &&
           item_.proc_stdout_buffer == nullptr && item_.proc_stdin_buffer == nullptr;
  }

  QueueItem item_;
};

}  // namespace

extern "C" pid_t setsid() noexcept {
  if (closed_at_setsid != -1 && fcntl(closed_at_setsid, F_GETFD) != -1) { _exit(1); }
  return static_cast<pid_t>(syscall(SYS_setsid));
}

TEST_F(child_process, empty_command_line_starts_nothing) {
  EXPECT_FALSE(item_.proc_spawn());
  EXPECT_EQ(item_.proc_pid, -1);
  EXPECT_EQ(item_.proc_sm.state, TRANSCODE_INIT);
}

TEST_F(child_process, second_child_is_not_started) {
  fake_child child;
  item_.proc_argv = {"/bin/true"};
  ASSERT_TRUE(item_.proc_spawn());
  EXPECT_FALSE(item_.proc_spawn());
  EXPECT_EQ(child.started, 1);
  item_.proc_pid = -1;
}

TEST_F(child_process, start_records_what_the_child_is_for) {
  const fake_child child;
  item_.sm.set_state(TRANSCODE_REMOTE);
  item_.sm.remote.set_state(REMOTE_COMMAND);
  item_.sm.remote_command = "pause";
  item_.proc_stdout_seen = true;
  item_.proc_argv = {"/bin/true"};
  ASSERT_TRUE(item_.proc_spawn());
  item_.sm.set_state(TRANSCODE_CANCELLED);
  EXPECT_EQ(item_.proc_sm.state, TRANSCODE_REMOTE);
  EXPECT_TRUE(item_.proc_sm.remote.initialized);
  EXPECT_EQ(item_.proc_sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item_.proc_sm.remote_command, "pause");
  EXPECT_FALSE(item_.proc_stdout_seen);
  item_.proc_pid = -1;
}

TEST_F(child_process, start_records_the_step_of_every_phase) {
  QueueItem::transcode_state_machine& sm = item_.sm;
  const QueueItem::transcode_state_machine& noted = item_.proc_sm;
  sm.ready.set_state(READY_QUERY_PROFILES);
  EXPECT_TRUE(item_.proc_prepare_fork_spawn());
  EXPECT_EQ(noted.ready.state, READY_QUERY_PROFILES);
  EXPECT_STREQ(noted.ready.state_name(), "query profiles");
  sm.set_state(TRANSCODE_THUMBNAIL);
  sm.thumbnail.set_state(THUMBNAIL_METADATA_GEN);
  EXPECT_TRUE(item_.proc_prepare_fork_spawn());
  EXPECT_EQ(noted.thumbnail.state, THUMBNAIL_METADATA_GEN);
  EXPECT_FALSE(noted.ready.initialized);
  sm.set_state(TRANSCODE_CLEANUP);
  sm.cleanup.set_state(CLEANUP_UNLINK_META);
  EXPECT_TRUE(item_.proc_prepare_fork_spawn());
  EXPECT_EQ(noted.cleanup.state, CLEANUP_UNLINK_META);
  EXPECT_TRUE(noted.cleanup.initialized);
}

TEST_F(child_process, leads_its_own_session) {
  ASSERT_TRUE(spawn_shell("ps -o pgid=,sid= -p $$ 2>/dev/null || cut -d' ' -f5,6 /proc/$$/stat"));
  const std::string pid = std::to_string(item_.proc_pid);
  int group = 0;
  int session = 0;
  EXPECT_EQ(sscanf(output().c_str(), "%d %d", &group, &session), 2);
  EXPECT_EQ(std::to_string(group), pid);
  EXPECT_EQ(std::to_string(session), pid);
}

TEST_F(child_process, runs_at_the_lowest_priority) {
  ASSERT_TRUE(spawn_shell("nice"));
  EXPECT_EQ(output(), "19\n");
}

TEST_F(child_process, gets_its_arguments_unchanged) {
  item_.proc_argv = {"/usr/bin/printf", "<%s>", "", "a b", "\"'*$(x)", "-n"};
  ASSERT_TRUE(item_.open_proc_stdout());
  ASSERT_TRUE(item_.proc_spawn());
  EXPECT_EQ(output(), "<><a b><\"'*$(x)><-n>");
}

TEST_F(child_process, keeps_only_its_streams_open) {
  close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);  // those that the test itself was started with
  const int other = open("/dev/null", O_RDONLY | O_CLOEXEC);
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(item_.proc_stdin_read_fd, item_.proc_stdin_write_fd));
  ASSERT_TRUE(spawn_shell("ls /proc/$$/fd; true"));
  EXPECT_EQ(output(), "0\n1\n2\n");
  close(other);
}

TEST_F(child_process, has_only_its_pipes_before_anything_may_take_long) {
  const unique_fd lock(open("/dev/null", O_RDONLY | O_CLOEXEC));
  closed_at_setsid = lock.get();
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(item_.proc_stdin_read_fd, item_.proc_stdin_write_fd));
  ASSERT_TRUE(spawn_shell("echo started"));
  closed_at_setsid = -1;
  EXPECT_EQ(output(), "started\n");
}

TEST_F(child_process, stream_without_a_pipe_is_the_services_own) {
  item_.proc_argv = {"/bin/sh", "-c",
                     "test /proc/self/fd/0 -ef /proc/$PPID/fd/0 &&"
                     "test /proc/self/fd/1 -ef /proc/$PPID/fd/1 &&"
                     "test /proc/self/fd/2 -ef /proc/$PPID/fd/2"};
  ASSERT_TRUE(item_.proc_spawn());
  EXPECT_EQ(wait_status(), exited(0));
}

TEST_F(child_process, reads_what_the_service_writes) {
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(item_.proc_stdin_read_fd, item_.proc_stdin_write_fd));
  ASSERT_TRUE(spawn_shell("read line; echo \"got $line\""));
  ASSERT_EQ(write(item_.proc_stdin_write_fd, "x y\n", 4), 4);
  EXPECT_EQ(output(), "got x y\n");
}

TEST_F(child_process, service_keeps_only_its_own_pipe_ends) {
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(item_.proc_stdin_read_fd, item_.proc_stdin_write_fd));
  ASSERT_TRUE(spawn_shell("exec sleep 1000"));
  EXPECT_EQ(item_.proc_stdout_write_fd, -1);
  EXPECT_EQ(item_.proc_stdin_read_fd, -1);
  EXPECT_NE(fcntl(item_.proc_stdout_read_fd, F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(fcntl(item_.proc_stdin_write_fd, F_GETFL) & O_NONBLOCK, 0);
  EXPECT_NE(fcntl(item_.proc_stdout_read_fd, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(child_process, standard_error_joins_the_output_on_request) {
  item_.proc_stderr_to_stdout = true;
  ASSERT_TRUE(spawn_shell("echo out; echo err >&2"));
  EXPECT_EQ(output(), "out\nerr\n");
}

TEST_F(child_process, standard_error_is_the_services_otherwise) {
  const stderr_capture capture;
  ASSERT_TRUE(spawn_shell("echo out; echo err >&2"));
  EXPECT_EQ(output(), "out\n");
  EXPECT_EQ(capture.text(), "err\n");
}

TEST_F(child_process, tool_that_cannot_be_executed_exits_with_255) {
  item_.proc_argv = {"/no/such/tool"};
  ASSERT_TRUE(item_.proc_spawn());
  EXPECT_EQ(wait_status(), exited(255));
}

TEST_F(child_process, tool_is_not_searched_in_the_path) {
  item_.proc_argv = {"true"};
  ASSERT_TRUE(item_.proc_spawn());
  EXPECT_EQ(wait_status(), exited(255));
}

TEST_F(child_process, unusable_input_pipe_exits_with_254) {
  item_.proc_argv = {"/bin/true"};
  item_.proc_stdin_read_fd = 900;  // not open
  ASSERT_TRUE(item_.proc_spawn());
  EXPECT_EQ(wait_status(), exited(254));
}

TEST_F(child_process, unusable_output_pipe_exits_with_254) {
  item_.proc_argv = {"/bin/true"};
  item_.proc_stdout_write_fd = 900;
  ASSERT_TRUE(item_.proc_spawn());
  EXPECT_EQ(wait_status(), exited(254));
}

TEST_F(child_process, termination_signals_end_it_like_any_program) {
  std::signal(SIGTERM, [](int) {});
  ASSERT_TRUE(spawn_shell("echo up; exec sleep 1000"));
  char up[3];
  ASSERT_TRUE(wait_until([&] { return read(item_.proc_stdout_read_fd, up, sizeof up) == 3; }));
  item_.signal_proc_group(SIGTERM);
  EXPECT_EQ(wait_status(), killed_by(SIGTERM));
}

TEST_F(child_process, starts_with_default_signals_and_none_blocked) {
  std::signal(SIGHUP, SIG_IGN);
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGUSR1);
  sigaddset(&set, SIGTERM);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  item_.proc_argv = {"/bin/grep", "-E", "^Sig(Blk|Ign)", "/proc/self/status"};
  EXPECT_TRUE(item_.open_proc_stdout() && item_.proc_spawn());
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
  std::signal(SIGHUP, SIG_DFL);
  EXPECT_EQ(output(), "SigBlk:\t0000000000000000\n"
                      "SigIgn:\t0000000000000000\n");
}

TEST_F(child_process, gets_the_descriptor_limit_that_the_service_was_started_with) {
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit low{100, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  ASSERT_TRUE(raise_descriptor_limit());
  rlimit raised{};
  getrlimit(RLIMIT_NOFILE, &raised);
  EXPECT_EQ(raised.rlim_cur, before.rlim_max);
  ASSERT_TRUE(spawn_shell("ulimit -Sn; ulimit -Hn"));
  EXPECT_EQ(output(),
            "100\n" +
                (before.rlim_max == RLIM_INFINITY ? "unlimited" : std::to_string(before.rlim_max)) +
                "\n");
}

// As between fork and setsid: it does not have its own process group yet.
TEST_F(child_process, is_ended_but_not_paused_before_it_has_a_group) {
  const pid_t child = fork();
  ASSERT_NE(child, -1);
  if (child == 0) {
    for (;;) {
      pause();
    }
  }
  item_.proc_pid = child;
  item_.signal_proc_group(SIGUSR1);
  item_.signal_proc_group(SIGUSR2);
  item_.signal_proc_group(SIGTERM);
  EXPECT_EQ(wait_status(), killed_by(SIGTERM));
}

TEST_F(child_process, failed_fork_releases_pipes_and_buffers) {
  kernel.fork = [] {
    errno = EAGAIN;
    return -1;
  };
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(item_.proc_stdin_read_fd, item_.proc_stdin_write_fd));
  ASSERT_TRUE(QueueItem::_std_init_buffer(item_.proc_stdin_buffer, proc_buffer_size));
  item_.proc_stderr_to_stdout = true;
  EXPECT_FALSE(spawn_shell("true"));
  EXPECT_EQ(item_.proc_pid, -1);
  EXPECT_TRUE(has_no_pipes());
  EXPECT_FALSE(item_.proc_stderr_to_stdout);
  EXPECT_FALSE(item_.is_running());
  kernel = {};
}

TEST_F(child_process, pipe_is_opened_only_into_closed_ends) {
  int read_end = -1;
  int write_end = 5;
  EXPECT_FALSE(QueueItem::_std_open_anonpipe(read_end, write_end));
  EXPECT_FALSE(QueueItem::_std_open_anonpipe(write_end, read_end));
  EXPECT_EQ(read_end, -1);
  EXPECT_EQ(write_end, 5);
}

TEST_F(child_process, failure_to_open_a_pipe_is_reported) {
  kernel.pipe2 = [](int*, int) {
    errno = EMFILE;
    return -1;
  };
  const stderr_capture capture;
  EXPECT_FALSE(item_.open_proc_stdout());
  EXPECT_EQ(capture.text(), "pipe2() failed, Too many open files\n");
  EXPECT_TRUE(has_no_pipes());
  kernel = {};
}

TEST_F(child_process, pipe_is_closed_on_exec) {
  int ends[2] = {-1, -1};
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(ends[0], ends[1]));
  EXPECT_EQ(fcntl(ends[0], F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(fcntl(ends[1], F_GETFD), FD_CLOEXEC);
  EXPECT_TRUE(QueueItem::make_fd_inheritable(ends[0]));
  EXPECT_EQ(fcntl(ends[0], F_GETFD), 0);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(child_process, flags_of_a_closed_descriptor_cannot_be_changed) {
  EXPECT_FALSE(QueueItem::make_fd_nonblocking(900));
  EXPECT_FALSE(QueueItem::make_fd_inheritable(900));
}

TEST_F(child_process, buffers_hold_16384_bytes) {
  ASSERT_TRUE(item_.open_proc_stdout());
  EXPECT_EQ(sliding_window_v4_can_write(item_.proc_stdout_buffer), 16384U);
}

TEST_F(child_process, counts_as_running_while_anything_of_it_is_left) {
  EXPECT_FALSE(item_.is_running());
  for (auto* const number :
       {&item_.proc_pid, &item_.proc_stdout_read_fd, &item_.proc_stdout_write_fd}) {
    *number = 900;
    EXPECT_TRUE(item_.is_running());
    *number = -1;
  }
  item_.proc_stdin_read_fd = 900;
  EXPECT_FALSE(item_.is_running());
  item_.proc_stdin_read_fd = -1;
  ASSERT_TRUE(QueueItem::_std_init_buffer(item_.proc_stdout_buffer, proc_buffer_size));
  EXPECT_TRUE(item_.is_running());
}

TEST_F(child_process, shutdown_signals_the_group_and_leaves_the_child_to_be_reaped) {
  fake_child child;
  item_.proc_argv = {"/bin/true"};
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(item_.proc_stdin_read_fd, item_.proc_stdin_write_fd));
  ASSERT_TRUE(item_.open_proc_stdout());
  ASSERT_TRUE(item_.proc_spawn());
  item_.proc_stderr_to_stdout = true;
  item_.shutdown_proc();
  EXPECT_EQ(child.signals, std::vector<int>{SIGTERM});
  EXPECT_TRUE(has_no_pipes());
  EXPECT_FALSE(item_.proc_stderr_to_stdout);
  EXPECT_EQ(item_.proc_pid, fake_child::pid);
  item_.proc_pid = -1;
}

TEST_F(child_process, shutdown_without_a_child_signals_nobody) {
  fake_child child;
  item_.shutdown_proc();
  EXPECT_TRUE(child.signals.empty() && child.stray_signals.empty());
}

TEST_F(child_process, many_steps_leak_no_descriptor) {
  const int before = dup(0);
  close(before);
  for (int i = 0; i < 300; ++i) {
    ASSERT_TRUE(spawn_shell("exit 3"));
    ASSERT_TRUE(wait_until([&] { return turn(item_) && item_.proc_pid == -1; }));
  }
  const int after = dup(0);
  close(after);
  EXPECT_EQ(before, after);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);  // no zombie either
}
