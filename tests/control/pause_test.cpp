// "pause" and "resume", state by state.
#include <csignal>

#include "queue/slots.h"
#include "queue/transcode_queue.h"
#include "tests/control/control_bench.h"

using namespace qx_test;

namespace {

// Every main state in which only the item itself is paused.
constexpr transcode_states plain_states[] = {
    TRANSCODE_INIT,      TRANSCODE_CANCELLED, TRANSCODE_CANCELLING, TRANSCODE_READY,
    TRANSCODE_THUMBNAIL, TRANSCODE_CLEANUP,   TRANSCODE_DONE,       TRANSCODE_CLEARED};

}  // namespace

class pause_commands : public control_bench {
protected:
  void expect_done(const char* word, QueueItem& item) {
    clock_us += 1;
    const auto reply = command(word, item);
    EXPECT_EQ(reply.words, (strings{word, "OK"})) << item.sm.state_name();
    EXPECT_EQ(reply.result_code, 0U);
    EXPECT_TRUE(reply.pairs.empty());
    EXPECT_EQ(reply.json()["paused"].bool_value(), item.paused);
    EXPECT_EQ(status_text(item), item.state_message);
    EXPECT_TRUE(scan_is_due());
    EXPECT_FALSE(write_is_armed());
  }
};

class pause_command : public pause_commands {};

TEST_F(pause_command, pauses_an_item_in_any_state) {
  for (const auto state : plain_states) {
    QueueItem& item = add_item(state);
    expect_done("pause", item);
    EXPECT_TRUE(item.paused) << state;
    EXPECT_EQ(item.state_message, "Paused");
    EXPECT_EQ(item.sm.state, state);
  }
}

TEST_F(pause_command, suspends_the_transcoder_and_frees_its_slot) {
  idle_child child;
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  item.proc_pid = child.pid();
  item_active_transcode_in_action = &item;
  expect_done("pause", item);
  EXPECT_EQ(item_active_transcode_in_action, nullptr);
  EXPECT_EQ(child.first_signal(), SIGUSR1);
  EXPECT_TRUE(item.paused);
  EXPECT_EQ(item.state_message, "Paused");
}

TEST_F(pause_command, signals_no_child_of_another_step) {
  idle_child child;
  QueueItem& item = add_item(TRANSCODE_READY);
  item.proc_pid = child.pid();
  expect_done("pause", item);
  EXPECT_EQ(child.first_signal(), SIGKILL);
}

TEST_F(pause_command, asks_the_remote_server_that_has_the_job) {
  QueueItem& item = add_remote_item(REMOTE_MONITOR);
  expect_done("pause", item);
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "pause");
  EXPECT_TRUE(item.user_wants_pause);
  EXPECT_FALSE(item.paused);
  EXPECT_EQ(item.state_message, "");
}

TEST_F(pause_command, only_records_the_wish_during_another_remote_command) {
  QueueItem& item = add_remote_item(REMOTE_COMMAND);
  item.sm.remote_command = "cancel";
  expect_done("pause", item);
  EXPECT_EQ(item.sm.remote_command, "cancel");
  EXPECT_TRUE(item.user_wants_pause);
  EXPECT_FALSE(item.paused);
}

TEST_F(pause_command, keeps_the_text_during_a_transfer) {
  for (const auto state : {REMOTE_UPLOAD, REMOTE_ADD, REMOTE_DOWNLOAD}) {
    QueueItem& item = add_remote_item(state);
    item.state_message = "as before";
    expect_done("pause", item);
    EXPECT_TRUE(item.paused) << state;
    EXPECT_FALSE(item.user_wants_pause);
    EXPECT_EQ(item.state_message, "as before");
  }
}

TEST_F(pause_command, pauses_a_remote_item_before_and_after_the_transfers) {
  for (const auto state : {REMOTE_INIT, REMOTE_DONE}) {
    QueueItem& item = add_remote_item(state);
    expect_done("pause", item);
    EXPECT_TRUE(item.paused) << state;
    EXPECT_EQ(item.state_message, "Paused");
  }
}

class resume_command : public pause_commands {};

TEST_F(resume_command, ends_the_pause_in_any_state) {
  for (const auto state : plain_states) {
    QueueItem& item = add_item(state);
    item.paused = true;
    item.waiting = true;
    item.state_message = "Paused";
    expect_done("resume", item);
    EXPECT_FALSE(item.paused) << state;
    const bool is_ready = state == TRANSCODE_READY;
    EXPECT_EQ(item.state_message, is_ready ? "Ready" : "Paused") << state;
    EXPECT_EQ(item.waiting, !is_ready) << state;
  }
}

TEST_F(resume_command, makes_a_paused_transcode_wait_for_its_turn) {
  idle_child child;
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  item.proc_pid = child.pid();
  item.paused = true;
  expect_done("resume", item);
  EXPECT_FALSE(item.paused);
  EXPECT_TRUE(item.waiting);
  EXPECT_EQ(item.state_message, "Resuming transcode...");
  EXPECT_EQ(child.first_signal(), SIGKILL) << "the scheduler wakes it up, not the command";
}

TEST_F(resume_command, changes_nothing_for_an_item_that_is_not_paused) {
  for (const auto state : {TRANSCODE_TRANSCODING, TRANSCODE_READY}) {
    for (const bool waiting : {false, true}) {
      QueueItem& item = add_item(state);
      item.waiting = waiting;
      item.state_message = "as before";
      expect_done("resume", item);
      EXPECT_FALSE(item.paused);
      EXPECT_EQ(item.waiting, waiting) << state;
      EXPECT_EQ(item.state_message, "as before") << state;
    }
  }
}

TEST_F(resume_command, asks_the_remote_server_that_has_the_job) {
  QueueItem& item = add_remote_item(REMOTE_MONITOR);
  item.paused = true;
  item.user_wants_pause = true;
  expect_done("resume", item);
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "resume");
  EXPECT_FALSE(item.user_wants_pause);
  EXPECT_TRUE(item.paused) << "until the remote server says otherwise";
}

TEST_F(resume_command, withdraws_the_wish_during_another_remote_command) {
  QueueItem& item = add_remote_item(REMOTE_COMMAND);
  item.sm.remote_command = "pause";
  item.paused = true;
  item.user_wants_pause = true;
  expect_done("resume", item);
  EXPECT_EQ(item.sm.remote_command, "pause");
  EXPECT_FALSE(item.user_wants_pause);
  EXPECT_TRUE(item.paused);
}

TEST_F(resume_command, ends_the_pause_in_every_other_remote_state) {
  for (const auto state : {REMOTE_INIT, REMOTE_UPLOAD, REMOTE_ADD, REMOTE_DOWNLOAD, REMOTE_DONE}) {
    QueueItem& item = add_remote_item(state);
    item.paused = true;
    item.user_wants_pause = true;
    expect_done("resume", item);
    EXPECT_FALSE(item.paused) << state;
    EXPECT_TRUE(item.user_wants_pause) << state;
  }
}
