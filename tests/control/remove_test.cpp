// "remove": refused for a busy item, immediate for most, through "cleanup" if the source is removed
// too.
#include <csignal>

#include "queue/transcode_queue.h"
#include "tests/control/control_bench.h"

using namespace qx_test;

class remove_command : public control_bench {
protected:
  void expect_removed(QueueItem& item) {
    const auto reply = command("remove", item);
    EXPECT_EQ(reply.words, (strings{"remove", "OK"}));
    EXPECT_EQ(reply.result_code, 0U);
    EXPECT_TRUE(reply.pairs.empty() && reply.data.empty());
  }
  void expect_busy(QueueItem& item) {
    const auto state = item.sm.state;
    const auto reply = command("remove", item);
    EXPECT_EQ(reply.words, (strings{"remove", "ITEM IS BUSY"})) << item.sm.state_name();
    EXPECT_EQ(reply.result_code, 1000U);
    EXPECT_TRUE(reply.pairs.empty() && reply.data.empty());
    EXPECT_EQ(item.sm.state, state);
    EXPECT_FALSE(item.user_wants_remove);
    EXPECT_TRUE(nothing_is_armed());
  }
};

TEST_F(remove_command, refuses_an_item_past_cancelling_with_a_child) {
  idle_child child;
  for (const auto state :
       {TRANSCODE_READY, TRANSCODE_REMOTE, TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL,
        TRANSCODE_CLEANUP, TRANSCODE_DONE, TRANSCODE_CLEARED}) {
    QueueItem& item = add_item(state);
    item.proc_pid = child.pid();
    expect_busy(item);
    item.proc_pid = -1;
  }
  EXPECT_EQ(child.first_signal(), SIGKILL) << "the child was signalled";
}

TEST_F(remove_command, refuses_an_item_with_unread_output) {
  QueueItem& item = add_item(TRANSCODE_READY);
  ASSERT_TRUE(item.open_proc_stdout());
  expect_busy(item);
}

TEST_F(remove_command, clears_an_item_at_once) {
  for (const auto state :
       {TRANSCODE_INIT, TRANSCODE_CANCELLED, TRANSCODE_CANCELLING, TRANSCODE_READY,
        TRANSCODE_REMOTE, TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL, TRANSCODE_DONE}) {
    QueueItem& item = add_item(state);
    clock_us += 1;
    expect_removed(item);
    EXPECT_EQ(item.sm.state, TRANSCODE_CLEARED) << state;
    EXPECT_TRUE(item.user_wants_remove);
    EXPECT_TRUE(scan_is_due());
    EXPECT_TRUE(write_is_armed());
  }
  EXPECT_EQ(transcode_queue.size(), 8U) << "the scan removes them";
  EXPECT_EQ(transcode_queue_mod_count, 0U);
}

TEST_F(remove_command, sends_an_item_through_cleanup_to_remove_its_source) {
  for (const auto state : {TRANSCODE_CANCELLED, TRANSCODE_CANCELLING, TRANSCODE_READY,
                           TRANSCODE_REMOTE, TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL}) {
    QueueItem& item = add_item(state);
    item.delete_on_finish = true;
    clock_us += 1;
    expect_removed(item);
    EXPECT_EQ(item.sm.state, TRANSCODE_CLEANUP) << state;
    EXPECT_EQ(item.sm.cleanup.state, CLEANUP_INIT);
    EXPECT_TRUE(item.sm.cleanup.initialized);
    EXPECT_FALSE(item.sm.ready.initialized || item.sm.remote.initialized ||
                 item.sm.thumbnail.initialized)
        << "left";
    EXPECT_TRUE(item.user_wants_remove);
    EXPECT_TRUE(scan_is_due());
    EXPECT_TRUE(write_is_armed());
    EXPECT_TRUE(exists(item.fileops_job_dir)) << "its clean-up is still to be told";
  }
}

TEST_F(remove_command, keeps_the_source_of_an_item_that_is_new_or_done) {
  for (const auto state : {TRANSCODE_INIT, TRANSCODE_DONE}) {
    QueueItem& item = add_item(state);
    item.delete_on_finish = true;
    expect_removed(item);
    EXPECT_EQ(item.sm.state, TRANSCODE_CLEARED) << state;
  }
}

TEST_F(remove_command, only_schedules_the_write_for_an_item_already_leaving) {
  for (const auto state : {TRANSCODE_CLEANUP, TRANSCODE_CLEARED}) {
    QueueItem& item = add_item(state);
    item.delete_on_finish = true;
    clock_us += 1;
    expect_removed(item);
    EXPECT_EQ(item.sm.state, state);
    EXPECT_FALSE(item.user_wants_remove);
    EXPECT_FALSE(scan_is_due());
    EXPECT_TRUE(write_is_armed());
    EXPECT_TRUE(exists(item.fileops_job_dir));
  }
}

TEST_F(remove_command, removes_the_job_directory) {
  QueueItem& item = add_item(TRANSCODE_DONE);
  const std::string job = item.fileops_job_dir;
  write_file(job + "/status", "x");
  write_file(job + "/copy_pid", "x");
  expect_removed(item);
  EXPECT_FALSE(exists(job));
}

TEST_F(remove_command, ends_the_child_of_an_item_that_is_being_cancelled) {
  idle_child child;
  QueueItem& item = add_item(TRANSCODE_CANCELLING);
  ASSERT_TRUE(item.open_proc_stdout());
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(item.proc_stdin_read_fd, item.proc_stdin_write_fd));
  item.proc_pid = child.pid();
  expect_removed(item);
  EXPECT_EQ(child.first_signal(), SIGTERM);
  EXPECT_NE(item.proc_pid, -1) << "it is still to be reaped";
  EXPECT_EQ(item.proc_stdout_buffer, nullptr);
  for (const int fd : {item.proc_stdin_read_fd, item.proc_stdin_write_fd, item.proc_stdout_read_fd,
                       item.proc_stdout_write_fd}) {
    EXPECT_EQ(fd, -1);
  }
}

TEST_F(remove_command, leaves_the_child_alone_if_cleanup_follows) {
  idle_child child;
  QueueItem& item = add_item(TRANSCODE_CANCELLING);
  item.delete_on_finish = true;
  item.proc_pid = child.pid();
  expect_removed(item);
  EXPECT_EQ(item.sm.state, TRANSCODE_CLEANUP);
  EXPECT_EQ(child.first_signal(), SIGKILL);
}
