// The pump: a child's input, its output, and its end.
#include <cstring>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "exec/child_pump.h"
#include "platform/sliding_window_v4.h"
#include "queue/slots.h"
#include "tests/exec/exec_bench.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

// The child belongs to an item in a state in which its end changes nothing.
class child_pump : public exec_bench {
protected:
  child_pump() { item_.input_file = "/mnt/media/clip.mpg"; }
  ~child_pump() override {
    item_.proc_pid = -1;
    if (input_fd_ >= 0) { close(input_fd_); }
  }

  void spawn() {
    item_.proc_argv = {"/bin/true"};
    ASSERT_TRUE(item_.open_proc_stdout());
    ASSERT_TRUE(item_.proc_spawn());
  }
  // With a pipe for its input, whose other end is kept here.
  void spawn_with_input(std::size_t bytes) {
    ASSERT_TRUE(QueueItem::_std_open_anonpipe(item_.proc_stdin_read_fd, item_.proc_stdin_write_fd));
    input_fd_ = fcntl(item_.proc_stdin_read_fd, F_DUPFD_CLOEXEC, 3);
    ASSERT_TRUE(QueueItem::_std_init_buffer(item_.proc_stdin_buffer, proc_buffer_size));
    memset(item_.proc_stdin_buffer->write_pos, 'i', bytes);
    item_.proc_stdin_buffer->write_pos += bytes;
    spawn();
  }
  std::string input_so_far() const {
    char bytes[32768];
    const ssize_t got = read(input_fd_, bytes, sizeof bytes);
    return {bytes, static_cast<std::size_t>(got > 0 ? got : 0)};
  }
  std::size_t waiting_output() const {
    return sliding_window_v4_data_available(item_.proc_stdout_buffer);
  }

  fake_child child_;
  QueueItem item_;
  int input_fd_ = -1;
};

}  // namespace

TEST_F(child_pump, nothing_to_do_without_a_child) {
  EXPECT_FALSE(turn(item_));
}

TEST_F(child_pump, empty_input_is_closed_in_the_first_turn) {
  spawn_with_input(0);
  EXPECT_FALSE(turn(item_));
  EXPECT_EQ(item_.proc_stdin_write_fd, -1);
  char byte = 0;
  EXPECT_EQ(read(input_fd_, &byte, 1), 0);
}

TEST_F(child_pump, input_is_written_and_then_closed) {
  spawn_with_input(16384);
  turn(item_);
  EXPECT_EQ(input_so_far(), std::string(16384, 'i'));
  turn(item_);
  EXPECT_EQ(item_.proc_stdin_write_fd, -1);
  char byte = 0;
  EXPECT_EQ(read(input_fd_, &byte, 1), 0);
}

TEST_F(child_pump, full_pipe_leaves_the_rest_for_later_turns) {
  spawn_with_input(16384);
  fcntl(item_.proc_stdin_write_fd, F_SETPIPE_SZ, 4096);
  EXPECT_FALSE(turn(item_));
  EXPECT_EQ(sliding_window_v4_data_available(item_.proc_stdin_buffer), 16384U - 4096U);
  EXPECT_FALSE(turn(item_));
  EXPECT_EQ(input_so_far().size(), 4096U);
  turn(item_);
  EXPECT_EQ(input_so_far().size(), 4096U);
  EXPECT_NE(item_.proc_stdin_write_fd, -1);
}

TEST_F(child_pump, child_that_stops_reading_is_reported) {
  spawn_with_input(5);
  item_.proc_stdin_read_fd = fcntl(input_fd_, F_DUPFD_CLOEXEC, 3);
  close(item_.proc_stdin_read_fd);
  item_.proc_stdin_read_fd = -1;
  close(input_fd_);
  input_fd_ = -1;
  const stderr_capture capture;
  EXPECT_FALSE(turn(item_));
  EXPECT_EQ(capture.text(), "Item '/mnt/media/clip.mpg' (" + item_.entry_id +
                                ") EOF before completing STDIN (5 bytes in window)\n");
  EXPECT_EQ(item_.proc_stdin_write_fd, -1);
}

TEST_F(child_pump, bytes_count_as_work_and_are_noted) {
  spawn();
  EXPECT_FALSE(turn(item_));
  EXPECT_FALSE(item_.proc_stdout_seen);
  child_.print("abc");
  EXPECT_TRUE(turn(item_));
  EXPECT_TRUE(item_.proc_stdout_seen);
  EXPECT_EQ(waiting_output(), 3U);
}

TEST_F(child_pump, end_of_output_counts_as_work_and_is_logged) {
  spawn();
  child_.print("abc");
  turn(item_);
  child_.close_stdout();
  const stderr_capture capture;
  EXPECT_TRUE(turn(item_));
  EXPECT_EQ(capture.text(), "Item '/mnt/media/clip.mpg' (" + item_.entry_id +
                                ") EOF on stdout (3 bytes in window)\n");
  EXPECT_EQ(item_.proc_stdout_read_fd, -1);
  EXPECT_NE(item_.proc_stdout_buffer, nullptr);
  EXPECT_FALSE(turn(item_));
}

TEST_F(child_pump, streams_that_ended_leave_no_pipe_end_open) {
  spawn_with_input(0);
  item_.proc_stdin_read_fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
  item_.proc_stdout_write_fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
  child_.close_stdout();
  EXPECT_TRUE(turn(item_));
  EXPECT_EQ(item_.proc_stdin_read_fd, -1);
  EXPECT_EQ(item_.proc_stdin_write_fd, -1);
  EXPECT_EQ(item_.proc_stdout_read_fd, -1);
  EXPECT_EQ(item_.proc_stdout_write_fd, -1);
}

TEST_F(child_pump, turn_that_reads_bytes_does_not_reap) {
  int looks = 0;
  child_.at_waitpid = [&] { ++looks; };
  spawn();
  child_.print("abc");
  child_.end(exited(0));
  EXPECT_TRUE(turn(item_));
  EXPECT_EQ(looks, 0);
  EXPECT_EQ(item_.proc_pid, fake_child::pid);
  EXPECT_TRUE(turn(item_));  // the end of the output, and with it the child's
  EXPECT_EQ(looks, 1);
  EXPECT_EQ(item_.proc_pid, -1);
}

TEST_F(child_pump, full_buffer_does_not_prevent_reaping) {
  spawn();
  child_.print(std::string(20000, 'x'));
  EXPECT_TRUE(turn(item_));
  EXPECT_EQ(waiting_output(), 16384U);
  EXPECT_FALSE(turn(item_));
  child_.end(exited(0));
  EXPECT_TRUE(turn(item_));
  EXPECT_EQ(item_.proc_pid, -1);
}

TEST_F(child_pump, output_without_a_reader_is_discarded) {
  spawn();
  fcntl(item_.proc_stdout_read_fd, F_SETPIPE_SZ, 1 << 20);
  child_.print(std::string(300000, 'x'));
  turn(item_);
  item_.sm.set_state(TRANSCODE_CANCELLING);
  int unread = 0;
  EXPECT_TRUE(wait_until([&] {
    EXPECT_FALSE(turn(item_)) << "it must not keep the scan of the queue waiting";
    ioctl(item_.proc_stdout_read_fd, FIONREAD, &unread);
    return unread == 0;
  }));
  EXPECT_EQ(waiting_output(), 16384U) << "what was listened to stays";
}

TEST_F(child_pump, output_that_may_still_be_read_is_kept) {
  spawn();
  child_.print(std::string(40000, 'x'));
  for (int i = 0; i < 5; ++i) {
    turn(item_);
  }
  int unread = 0;
  ioctl(item_.proc_stdout_read_fd, FIONREAD, &unread);
  EXPECT_EQ(unread, 40000 - 16384);
}

TEST_F(child_pump, child_without_output_is_reaped) {
  item_.proc_argv = {"/bin/true"};
  ASSERT_TRUE(item_.proc_spawn());
  EXPECT_FALSE(turn(item_));
  child_.end(exited(0));
  EXPECT_TRUE(turn(item_));
  EXPECT_EQ(item_.proc_pid, -1);
}

// The child prints and ends between the check of its output and that of the child itself.
TEST_F(child_pump, last_output_is_there_to_be_evaluated) {
  spawn();
  child_.at_waitpid = [&] {
    child_.print("first\nlast\n");
    child_.end(exited(0));
  };
  ASSERT_TRUE(pump_child(item_).child_ended);
  EXPECT_STREQ(item_.proc_stdout_getline(), "first");
  EXPECT_STREQ(item_.proc_stdout_getline(), "last");
  EXPECT_EQ(item_.proc_pid, fake_child::pid);
  forget_child(item_);
}

TEST_F(child_pump, lines_already_read_make_room_for_the_last_output) {
  spawn();
  child_.print(std::string(16383, 'x') + "\n");
  turn(item_);
  ASSERT_NE(item_.proc_stdout_getline(), nullptr);
  item_.proc_drain_stdout_before_reap = false;
  child_.at_waitpid = [&] {
    child_.print("last\n");
    child_.end(exited(0));
  };
  ASSERT_TRUE(pump_child(item_).child_ended);
  EXPECT_STREQ(item_.proc_stdout_getline(), "last");
  forget_child(item_);
}

TEST_F(child_pump, child_to_be_drained_is_not_reaped_before_its_output_is_released) {
  spawn();
  item_.proc_drain_stdout_before_reap = true;
  child_.end(exited(0));
  EXPECT_TRUE(turn(item_));
  EXPECT_FALSE(turn(item_));
  EXPECT_EQ(item_.proc_pid, fake_child::pid);
  item_.close_proc_stdout();
  EXPECT_TRUE(turn(item_));
  EXPECT_EQ(item_.proc_pid, -1);
}

TEST_F(child_pump, lost_child_changes_nothing) {
  spawn();
  kernel.waitpid = [](pid_t, int*) { return -1; };
  EXPECT_FALSE(turn(item_));
  EXPECT_EQ(item_.proc_pid, fake_child::pid);
}

TEST_F(child_pump, nothing_of_a_reaped_child_is_left) {
  spawn_with_input(5);
  item_.proc_stderr_to_stdout = true;
  child_.end(killed_by(SIGSEGV));
  turn(item_);
  EXPECT_EQ(item_.proc_status, killed_by(SIGSEGV));
  EXPECT_FALSE(item_.is_running());
  EXPECT_EQ(item_.proc_stdin_buffer, nullptr);
  EXPECT_EQ(item_.proc_stdin_write_fd, -1);
  EXPECT_FALSE(item_.proc_stderr_to_stdout);
  EXPECT_TRUE(item_.proc_argv.empty());
}

TEST_F(child_pump, cancel_is_completed_when_the_child_is_gone) {
  QueueItem& item = add_item(TRANSCODE_CANCELLING);
  item.state_message = "Cancelled by user";
  item_metadata_ident_in_action = &item;
  fake_child::run_for(item);
  turn(item);
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
  status_writes.clear();
  child_.end(exited(1));
  turn(item);
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  EXPECT_EQ(item_metadata_ident_in_action, nullptr);
  EXPECT_THAT(status_writes, ElementsAre("cancelled: Cancelled by user"));
}

TEST_F(child_pump, cancel_without_a_child_is_completed_in_the_next_turn) {
  QueueItem& item = add_item(TRANSCODE_CANCELLING);
  item_active_upload_in_action = &item;
  EXPECT_FALSE(turn(item));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  EXPECT_EQ(item_active_upload_in_action, nullptr);
}

TEST_F(child_pump, cancel_waits_for_output_that_is_not_released) {
  QueueItem& item = add_item(TRANSCODE_CANCELLING);
  ASSERT_TRUE(QueueItem::_std_init_buffer(item.proc_stdout_buffer, proc_buffer_size));
  turn(item);
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
}

using child_pump_death = child_pump;

TEST_F(child_pump_death, corrupt_buffers_end_the_service) {
  GTEST_FLAG_SET(death_test_style, "fast");
  spawn_with_input(5);
  unsigned char* const good = item_.proc_stdin_buffer->read_pos;
  item_.proc_stdin_buffer->read_pos = item_.proc_stdin_buffer->region_end + 1;
  kernel.fork = nullptr;  // the death test's own
  kernel.waitpid = nullptr;
  EXPECT_DEATH(turn(item_), "sliding_window_v4_is_sane\\(proc_stdin_buffer\\)");
  item_.proc_stdin_buffer->read_pos = good;
  item_.proc_stdout_buffer->read_pos = item_.proc_stdout_buffer->region_end + 1;
  EXPECT_DEATH(turn(item_), "sliding_window_v4_is_sane\\(proc_stdout_buffer\\)");
  item_.proc_stdout_buffer->read_pos = item_.proc_stdout_buffer->region_start;
}
