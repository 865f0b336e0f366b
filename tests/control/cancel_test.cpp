// "cancel" and "restart", state by state.
#include <csignal>

#include "queue/transcode_queue.h"
#include "tests/control/control_bench.h"

using namespace qx_test;

namespace {

constexpr char cannot_be_cancelled[] = "ITEM CANNOT BE CANCELLED";

}  // namespace

class run_command : public control_bench {
protected:
  void expect_done(const char* word, QueueItem& item) {
    clock_us += 1;
    const auto reply = command(word, item);
    EXPECT_EQ(reply.words, (strings{word, "OK"})) << item.sm.state_name();
    EXPECT_EQ(reply.result_code, 0U);
    EXPECT_TRUE(reply.pairs.empty());
    EXPECT_EQ(reply.json()["entry id"].string_value(), item.entry_id);
    EXPECT_EQ(reply.json()["state"].string_value(), item.state_message);
    EXPECT_TRUE(scan_is_due());
    EXPECT_FALSE(write_is_armed());
  }
  void expect_refused(const char* word, QueueItem& item) {
    const auto state = item.sm.state;
    const auto reply = command(word, item);
    EXPECT_EQ(reply.words, (strings{word, cannot_be_cancelled})) << item.sm.state_name();
    EXPECT_EQ(reply.result_code, 1000U);
    EXPECT_TRUE(reply.pairs.empty() && reply.data.empty());
    EXPECT_EQ(item.sm.state, state);
    EXPECT_FALSE(status_written(item));
  }
};

class cancel_command : public run_command {
protected:
  QueueItem& add_sent_item(remote_transcode_states state) {
    QueueItem& item = add_remote_item(state);
    item.remote_info.ip = "server";
    return item;
  }
};

TEST_F(cancel_command, cancels_an_item_and_says_who_did) {
  for (const auto state : {TRANSCODE_INIT, TRANSCODE_CANCELLED, TRANSCODE_READY, TRANSCODE_REMOTE,
                           TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL, TRANSCODE_CLEARED}) {
    QueueItem& item = add_item(state);
    expect_done("cancel", item);
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED) << state;
    EXPECT_EQ(item.state_message, "Cancelled by user");
    EXPECT_EQ(status_text(item), "Cancelled by user");
    EXPECT_FALSE(item.user_wants_cancel);
  }
}

TEST_F(cancel_command, of_an_item_being_cancelled_only_changes_its_text) {
  idle_child child;
  QueueItem& item = add_item(TRANSCODE_CANCELLING);
  item.proc_pid = child.pid();
  expect_done("cancel", item);
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
  EXPECT_EQ(item.state_message, "Cancelled by user");
  EXPECT_EQ(status_text(item), "Cancelled by user");
  EXPECT_EQ(child.first_signal(), SIGKILL) << "it was told before";
}

TEST_F(cancel_command, refuses_an_item_in_cleanup_or_done) {
  expect_refused("cancel", add_item(TRANSCODE_CLEANUP));
  expect_refused("cancel", add_item(TRANSCODE_DONE));
  EXPECT_TRUE(nothing_is_armed());
}

TEST_F(cancel_command, ends_the_child_and_waits_for_its_end) {
  idle_child child;
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  item.proc_prepare_fork_spawn();
  item.proc_pid = child.pid();
  expect_done("cancel", item);
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
  EXPECT_EQ(child.first_signal(), SIGTERM);
}

TEST_F(cancel_command, asks_the_remote_server_that_has_the_job) {
  QueueItem& item = add_sent_item(REMOTE_MONITOR);
  expect_done("cancel", item);
  EXPECT_EQ(item.sm.state, TRANSCODE_REMOTE);
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "cancel");
  EXPECT_TRUE(item.user_wants_cancel);
  EXPECT_EQ(item.state_message, "");
}

TEST_F(cancel_command, only_records_the_wish_during_another_remote_command) {
  QueueItem& item = add_sent_item(REMOTE_COMMAND);
  item.sm.remote_command = "pause";
  expect_done("cancel", item);
  EXPECT_EQ(item.sm.state, TRANSCODE_REMOTE);
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "pause");
  EXPECT_TRUE(item.user_wants_cancel);
}

TEST_F(cancel_command, cancels_locally_what_the_remote_server_does_not_run) {
  for (const auto state : {REMOTE_INIT, REMOTE_UPLOAD, REMOTE_ADD, REMOTE_DOWNLOAD, REMOTE_DONE}) {
    QueueItem& item = add_sent_item(state);
    expect_done("cancel", item);
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED) << state;
    EXPECT_EQ(item.state_message, "Cancelled by user");
  }
}

TEST_F(cancel_command, cancels_locally_without_a_remote_job) {
  for (const auto state : {REMOTE_MONITOR, REMOTE_COMMAND}) {
    QueueItem& item = add_remote_item(state);
    expect_done("cancel", item);
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED) << state;
  }
}

TEST_F(cancel_command, recognizes_a_remote_job_by_any_of_its_fields) {
  for (int part = 0; part < 4; ++part) {
    QueueItem& item = add_remote_item(REMOTE_MONITOR);
    if (part == 0) { item.remote_info.ip = "server"; }
    if (part == 1) { item.remote_info.name = "name"; }
    if (part == 2) { item.remote_info.entry_id = "id"; }
    if (part == 3) { item.remote_info.json = json11::Json::object{}; }
    expect_done("cancel", item);
    EXPECT_EQ(item.sm.remote_command, "cancel") << part;
  }
}

class restart_command : public run_command {};

TEST_F(restart_command, leaves_a_ready_item_unchanged) {
  QueueItem& item = add_item(TRANSCODE_READY);
  item.sm.ready.set_state(READY_CHECK_META);
  item.paused = true;
  item.state_message = "as before";
  expect_done("restart", item);
  EXPECT_EQ(item.sm.ready.state, READY_CHECK_META);
  EXPECT_TRUE(item.paused);
  EXPECT_EQ(item.state_message, "as before");
  EXPECT_FALSE(status_written(item));
}

TEST_F(restart_command, makes_a_paused_transcode_wait_for_its_turn) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  item.paused = true;
  expect_done("restart", item);
  EXPECT_FALSE(item.paused);
  EXPECT_TRUE(item.waiting);
  EXPECT_EQ(item.state_message, "Restarted by user");
  EXPECT_EQ(status_text(item), "Restarted by user");
}

TEST_F(restart_command, leaves_a_running_transcode_running) {
  idle_child child;
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  item.proc_pid = child.pid();
  expect_done("restart", item);
  EXPECT_FALSE(item.waiting);
  EXPECT_EQ(item.state_message, "Restarted by user");
  EXPECT_EQ(child.first_signal(), SIGKILL);
}

TEST_F(restart_command, refuses_every_later_state) {
  for (const auto state : {TRANSCODE_REMOTE, TRANSCODE_THUMBNAIL, TRANSCODE_CLEANUP, TRANSCODE_DONE,
                           TRANSCODE_CLEARED}) {
    QueueItem& item = add_item(state);
    item.paused = true;
    item.user_wants_cancel = true;
    expect_refused("restart", item);
    EXPECT_TRUE(item.paused && item.user_wants_cancel) << state;
  }
  EXPECT_TRUE(nothing_is_armed());
}

TEST_F(restart_command, clears_the_users_wishes_even_if_it_fails) {
  for (const auto state : {TRANSCODE_INIT, TRANSCODE_CANCELLED, TRANSCODE_CANCELLING}) {
    QueueItem& item = add_item(state);
    item.paused = true;
    item.user_wants_cancel = true;
    clock_us += 1;
    expect_refused("restart", item);
    EXPECT_FALSE(item.paused || item.user_wants_cancel) << state;
    EXPECT_TRUE(scan_is_due());
    EXPECT_FALSE(write_is_armed());
  }
}
