// Cancel and pause, state by state, with and without a child.
#include <gmock/gmock.h>

#include "exec/child_pump.h"
#include "exec/fail.h"
#include "platform/metadata_v4.h"
#include "queue/slots.h"
#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr transcode_states all_states[] = {
    TRANSCODE_INIT,   TRANSCODE_CANCELLED,   TRANSCODE_CANCELLING, TRANSCODE_READY,
    TRANSCODE_REMOTE, TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL,  TRANSCODE_CLEANUP,
    TRANSCODE_DONE,   TRANSCODE_CLEARED};

void hold_all_slots(QueueItem& item) {
  item_metadata_ident_in_action = &item;
  item_query_profiles_in_action = &item;
  item_active_transcode_in_action = &item;
  item_active_upload_in_action = &item;
  item_active_download_in_action = &item;
}

std::vector<QueueItem*> slots() {
  return {item_metadata_ident_in_action, item_query_profiles_in_action,
          item_active_transcode_in_action, item_active_upload_in_action,
          item_active_download_in_action};
}

class item_cancel : public exec_bench {
protected:
  // An item with output and a child that was started in the item's current state.
  QueueItem& run(QueueItem& item) {
    item.proc_argv = {"/bin/true"};
    EXPECT_TRUE(item.open_proc_stdout());
    EXPECT_TRUE(item.proc_spawn());
    hold_all_slots(item);
    return item;
  }
  fake_child child_;
};

class item_pause : public item_cancel {};

}  // namespace

TEST_F(item_cancel, item_without_a_child_is_cancelled_at_once) {
  for (const auto state : {TRANSCODE_INIT, TRANSCODE_READY, TRANSCODE_REMOTE, TRANSCODE_TRANSCODING,
                           TRANSCODE_THUMBNAIL, TRANSCODE_CLEANUP, TRANSCODE_CLEARED}) {
    QueueItem& item = add_item(state);
    hold_all_slots(item);
    EXPECT_TRUE(item.cancel()) << state;
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED) << state;
    EXPECT_THAT(slots(), ::testing::Each(nullptr));
  }
  EXPECT_THAT(child_.signals, IsEmpty());
}

TEST_F(item_cancel, finished_item_cannot_be_cancelled) {
  QueueItem& item = add_item(TRANSCODE_DONE);
  EXPECT_FALSE(item.cancel());
  EXPECT_EQ(item.sm.state, TRANSCODE_DONE);
}

TEST_F(item_cancel, cancelled_item_is_left_unchanged) {
  for (const auto state : {TRANSCODE_CANCELLED, TRANSCODE_CANCELLING}) {
    QueueItem& item = run(add_item(state));
    EXPECT_TRUE(item.cancel());
    EXPECT_EQ(item.sm.state, state);
    EXPECT_EQ(slots().front(), &item);
    EXPECT_NE(item.proc_stdout_read_fd, -1);
  }
  EXPECT_THAT(child_.signals, IsEmpty());
}

TEST_F(item_cancel, metadata_is_closed_even_when_the_cancel_is_refused) {
  QueueItem& item = add_item(TRANSCODE_DONE);
  item.input_meta.context = metadata_v4_context_create();
  item.input_meta.entries = metadata_v4_metadata_context_create();
  item.cancel();
  EXPECT_EQ(item.input_meta.context, nullptr);
  EXPECT_EQ(item.input_meta.entries, nullptr);
}

TEST_F(item_cancel, running_step_is_stopped_and_waited_for) {
  for (const auto state :
       {TRANSCODE_REMOTE, TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL, TRANSCODE_CLEANUP}) {
    child_.signals.clear();
    QueueItem& item = run(add_item(state));
    EXPECT_TRUE(item.cancel());
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING) << state;
    EXPECT_THAT(child_.signals, ElementsAre(SIGTERM));
    EXPECT_EQ(item.proc_stdout_read_fd, -1);
    EXPECT_EQ(item.proc_stdout_buffer, nullptr);
    EXPECT_EQ(slots().front(), &item) << "released only when it is cancelled";
  }
}

TEST_F(item_cancel, identification_and_listing_may_finish) {
  for (const auto state : {READY_CHECK_META, READY_QUERY_PROFILES}) {
    QueueItem& item = run(add_ready_item(state));
    EXPECT_TRUE(item.cancel());
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
    EXPECT_NE(item.proc_stdout_read_fd, -1);
    EXPECT_NE(item.proc_stdout_buffer, nullptr);
  }
  EXPECT_THAT(child_.signals, IsEmpty());
}

TEST_F(item_cancel, any_other_step_of_a_ready_item_is_stopped) {
  for (const auto state : {READY_INIT, READY_READY_TO_TRANSCODE}) {
    child_.signals.clear();
    QueueItem& item = run(add_ready_item(state));
    item.cancel();
    EXPECT_THAT(child_.signals, ElementsAre(SIGTERM));
    EXPECT_EQ(item.proc_stdout_buffer, nullptr);
  }
}

// The child's original step decides, not the item's current state.
TEST_F(item_cancel, depends_on_the_childs_state_not_the_items) {
  QueueItem& item = run(add_ready_item(READY_QUERY_PROFILES));
  item.sm.set_state(TRANSCODE_TRANSCODING);
  item.cancel();
  EXPECT_THAT(child_.signals, IsEmpty());
}

TEST_F(item_cancel, text_given_with_it_survives) {
  QueueItem& item = add_item(TRANSCODE_READY);
  item.cancel_with("no profiles listed");
  EXPECT_EQ(item.state_message, "no profiles listed");
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
}

TEST_F(item_cancel, failed_step_writes_its_text_to_the_status_once) {
  QueueItem& item = add_item(TRANSCODE_READY);
  fail(item, "no profiles listed");
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  EXPECT_THAT(status_writes, ElementsAre("cancelled: no profiles listed"));
}

TEST_F(item_cancel, other_items_keep_their_slots) {
  QueueItem& other = add_item(TRANSCODE_TRANSCODING);
  hold_all_slots(other);
  add_item(TRANSCODE_READY).cancel();
  EXPECT_THAT(slots(), ::testing::Each(&other));
}

// A child that does not have its own group yet.
TEST_F(item_cancel, child_without_a_group_is_signalled_directly) {
  QueueItem& item = run(add_item(TRANSCODE_TRANSCODING));
  std::vector<pid_t> targets;
  kernel.kill = [&](pid_t target, int) {
    targets.push_back(target);
    errno = ESRCH;
    return -1;
  };
  item.cancel();
  EXPECT_THAT(targets, ElementsAre(-fake_child::pid, fake_child::pid));
}

// Its process id may already belong to another process.
TEST_F(item_cancel, reaped_child_is_not_signalled_directly) {
  QueueItem& item = run(add_item(TRANSCODE_TRANSCODING));
  std::vector<pid_t> targets;
  kernel.kill = [&](pid_t target, int) {
    targets.push_back(target);
    errno = ESRCH;
    return -1;
  };
  child_.end(exited(1));
  ASSERT_TRUE(pump_child(item).child_ended);
  item.cancel();
  forget_child(item);
  EXPECT_THAT(targets, ElementsAre(-fake_child::pid));
}

TEST_F(item_pause, running_transcode_is_suspended) {
  QueueItem& item = run(add_item(TRANSCODE_TRANSCODING));
  EXPECT_TRUE(item.pause());
  EXPECT_THAT(child_.signals, ElementsAre(SIGUSR1));
  EXPECT_EQ(item.state_message, "Paused");
  EXPECT_TRUE(item.paused);
  EXPECT_THAT(slots(), ::testing::Each(nullptr));
  EXPECT_EQ(item.sm.state, TRANSCODE_TRANSCODING);
}

TEST_F(item_pause, transcode_without_a_child_signals_nobody) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  EXPECT_TRUE(item.pause());
  EXPECT_EQ(item.state_message, "Paused");
  EXPECT_TRUE(item.paused);
  EXPECT_TRUE(child_.signals.empty() && child_.stray_signals.empty());
}

TEST_F(item_pause, item_in_any_other_state_is_only_marked) {
  for (const auto state : all_states) {
    if (state == TRANSCODE_TRANSCODING || state == TRANSCODE_REMOTE) { continue; }
    QueueItem& item = run(add_item(state));
    EXPECT_TRUE(item.pause()) << state;
    EXPECT_EQ(item.state_message, "Paused");
    EXPECT_TRUE(item.paused);
    EXPECT_EQ(slots().front(), &item);
  }
  EXPECT_THAT(child_.signals, IsEmpty());
}

TEST_F(item_pause, monitored_item_sends_a_command_to_its_server) {
  QueueItem& item = add_item(TRANSCODE_REMOTE);
  item.sm.remote.set_state(REMOTE_MONITOR);
  EXPECT_TRUE(item.pause());
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "pause");
  EXPECT_TRUE(item.user_wants_pause);
  EXPECT_FALSE(item.paused);
  EXPECT_EQ(item.state_message, "");
}

TEST_F(item_pause, item_with_a_pending_command_only_records_the_wish) {
  QueueItem& item = add_item(TRANSCODE_REMOTE);
  item.sm.remote.set_state(REMOTE_COMMAND);
  item.sm.remote_command = "cancel";
  EXPECT_TRUE(item.pause());
  EXPECT_EQ(item.sm.remote_command, "cancel");
  EXPECT_TRUE(item.user_wants_pause);
  EXPECT_FALSE(item.paused);
}

TEST_F(item_pause, transfer_keeps_its_text) {
  for (const auto state : {REMOTE_UPLOAD, REMOTE_ADD, REMOTE_DOWNLOAD}) {
    QueueItem& item = add_item(TRANSCODE_REMOTE);
    item.sm.remote.set_state(state);
    item.state_message = "Starting remote transcode";
    EXPECT_TRUE(item.pause());
    EXPECT_TRUE(item.paused);
    EXPECT_FALSE(item.user_wants_pause);
    EXPECT_EQ(item.state_message, "Starting remote transcode");
  }
}

TEST_F(item_pause, remote_item_is_marked_before_and_after_its_transfers) {
  for (const auto state : {REMOTE_INIT, REMOTE_DONE}) {
    QueueItem& item = add_item(TRANSCODE_REMOTE);
    item.sm.remote.set_state(state);
    EXPECT_TRUE(item.pause());
    EXPECT_TRUE(item.paused);
    EXPECT_EQ(item.state_message, "Paused");
  }
}

TEST_F(item_pause, cancel_by_the_user_is_sent_to_the_server) {
  QueueItem& item = add_item(TRANSCODE_REMOTE);
  item.sm.remote.set_state(REMOTE_MONITOR);
  EXPECT_TRUE(item.do_user_cancel());
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "cancel");
  EXPECT_TRUE(item.user_wants_cancel);
}
