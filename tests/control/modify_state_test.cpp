// Changes of "transcode state" by clients: to "ready", and to "cancelled".
#include <csignal>

#include <gmock/gmock.h>

#include "platform/metadata_v4.h"
#include "platform/sliding_window_v4.h"
#include "queue/slots.h"
#include "tests/queue/queue_bench.h"
#include "tests/support/status_writes.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

constexpr const char* key = "transcode state";

class modify_state : public queue_bench {
protected:
  modify_state() { item.state_message = "before"; }
  ~modify_state() override { item.proc_pid = -1; }

  // The item in this state, with a child that was started in the same state.
  void run_child(transcode_states state) {
    item.sm.set_state(state);
    item.proc_prepare_fork_spawn();
    item.proc_pid = 4242;
    item._std_open_anonpipe(item.proc_stdout_read_fd, item.proc_stdout_write_fd);
    item._std_open_anonpipe(item.proc_stdin_read_fd, item.proc_stdin_write_fd);
    item.proc_stdout_buffer = sliding_window_v4_create_buffer(16384);
    item.proc_stdin_buffer = sliding_window_v4_create_buffer(16384);
  }
  void run_ready_child(ready_states state) {
    item.sm.set_state(TRANSCODE_READY);
    item.sm.ready.set_state(state);
    const auto sm = item.sm;
    run_child(TRANSCODE_READY);
    item.sm = item.proc_sm = sm;
  }
  void expect_pipes_closed() const {
    for (const int fd : {item.proc_stdout_read_fd, item.proc_stdout_write_fd,
                         item.proc_stdin_read_fd, item.proc_stdin_write_fd}) {
      EXPECT_EQ(fd, -1);
    }
    EXPECT_EQ(item.proc_stdout_buffer, nullptr);
    EXPECT_EQ(item.proc_stdin_buffer, nullptr);
  }

  QueueItem item;
};

// An item that passes every check. Call it inside the private root.
struct good_item : QueueItem {
  explicit good_item(transcode_states state) {
    set_input_file(source_file);
    set_fileops_job_id(7);
    sm.set_state(state);
  }
};

// The resulting state of an item without a child; "" if the change is refused.
std::string outcome(transcode_states from, const char* target) {
  good_item item(from);
  return item.modify(key, target) ? item.sm.state_name() : "";
}

bool may_be_cancelled(transcode_states state) {
  return state == TRANSCODE_READY || state == TRANSCODE_TRANSCODING || state == TRANSCODE_THUMBNAIL;
}

}  // namespace

TEST_F(modify_state, every_state_to_every_state) {
  inside([] {
    for (const auto from : all_states) {
      for (const auto to : all_states) {
        const bool is_allowed =
            from == to || (to == TRANSCODE_CANCELLED && may_be_cancelled(from)) ||
            (to == TRANSCODE_READY && (from == TRANSCODE_INIT || from == TRANSCODE_CANCELLED));
        const char* const target = transcode_states__str[to];
        EXPECT_EQ(outcome(from, target), is_allowed ? target : "") << from << " to " << target;
      }
    }
  });
}

TEST_F(modify_state, unknown_name_means_init) {
  EXPECT_EQ(outcome(TRANSCODE_INIT, "no such state"), "init");
  EXPECT_EQ(outcome(TRANSCODE_READY, "Cancelled"), "");
  EXPECT_EQ(outcome(TRANSCODE_READY, ""), "");
}

TEST_F(modify_state, current_state_changes_nothing) {
  item.sm.set_state(TRANSCODE_READY);
  item.sm.ready.set_state(READY_QUERY_PROFILES);
  EXPECT_TRUE(item.modify(key, "ready"));
  EXPECT_EQ(item.sm.ready.state, READY_QUERY_PROFILES);
  EXPECT_EQ(item.state_message, "before");
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(modify_state, refused_change_changes_nothing) {
  run_child(TRANSCODE_CLEANUP);
  EXPECT_FALSE(item.modify(key, "cancelled"));
  EXPECT_EQ(item.sm.state, TRANSCODE_CLEANUP);
  EXPECT_EQ(item.state_message, "before");
  EXPECT_NE(item.proc_stdout_buffer, nullptr);
  EXPECT_THAT(signals_sent, IsEmpty());
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(modify_state, ready_restarts_the_phase) {
  inside([] {
    good_item job(TRANSCODE_CANCELLED);
    job.progress = 5000;
    EXPECT_TRUE(job.modify(key, "ready"));
    EXPECT_EQ(job.sm.ready.state, READY_INIT);
    EXPECT_TRUE(job.sm.ready.initialized);
    EXPECT_EQ(job.progress, 0);
    EXPECT_EQ(status_writes.back(), "ready: Ready");
  });
}

TEST_F(modify_state, ready_is_refused_with_the_reason_of_the_check) {
  EXPECT_FALSE(item.modify(key, "ready"));
  EXPECT_EQ(item.sm.state, TRANSCODE_INIT);
  EXPECT_EQ(item.state_message, "Rejected: No input file");
}

TEST_F(modify_state, ready_is_refused_while_an_old_child_is_running) {
  inside([this] {
    item.set_input_file(source_file);
    run_child(TRANSCODE_TRANSCODING);
    item.sm.set_state(TRANSCODE_CANCELLED);
    EXPECT_FALSE(item.modify(key, "ready"));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_EQ(item.state_message, "problem: process/thread still running. Please retry again.");
    EXPECT_THAT(signals_sent, ElementsAre(Pair(-4242, SIGTERM)));
    expect_pipes_closed();
  });
}

TEST_F(modify_state, cancel_without_a_child_is_done_at_once) {
  item.sm.set_state(TRANSCODE_READY);
  item_query_profiles_in_action = item_active_transcode_in_action = &item;
  EXPECT_TRUE(item.modify(key, "cancelled"));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  EXPECT_EQ(item_query_profiles_in_action, nullptr);
  EXPECT_EQ(item_active_transcode_in_action, nullptr);
  EXPECT_THAT(signals_sent, IsEmpty());
  EXPECT_THAT(status_writes, ElementsAre("cancelled: Cancelled by user"));
}

TEST_F(modify_state, cancel_ends_the_child_and_waits_for_its_end) {
  for (const auto state : {TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL}) {
    signals_sent.clear();
    status_writes.clear();
    run_child(state);
    item.proc_stderr_to_stdout = true;
    item_active_transcode_in_action = &item;
    EXPECT_TRUE(item.modify(key, "cancelled"));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
    EXPECT_THAT(signals_sent, ElementsAre(Pair(-4242, SIGTERM)));
    expect_pipes_closed();
    EXPECT_FALSE(item.proc_stderr_to_stdout);
    EXPECT_EQ(item_active_transcode_in_action, &item) << "until the child has ended";
    EXPECT_THAT(status_writes, ElementsAre("cancelling: Cancelled by user"));
    item.proc_pid = -1;
  }
}

TEST_F(modify_state, cancel_lets_a_metadata_check_or_a_listing_finish) {
  for (const auto state : {READY_CHECK_META, READY_QUERY_PROFILES}) {
    run_ready_child(state);
    EXPECT_TRUE(item.modify(key, "cancelled"));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
    EXPECT_EQ(item.state_message, "Cancelled by user");
    EXPECT_THAT(signals_sent, IsEmpty());
    EXPECT_NE(item.proc_stdout_read_fd, -1);
    EXPECT_NE(item.proc_stdout_buffer, nullptr);
    EXPECT_NE(item.proc_stdin_buffer, nullptr);
    item.close_proc_stdin();
    item.close_proc_stdout();
  }
}

TEST_F(modify_state, cancel_ends_any_other_child_of_the_ready_phase) {
  for (const auto state : {READY_INIT, READY_READY_TO_TRANSCODE}) {
    signals_sent.clear();
    run_ready_child(state);
    EXPECT_TRUE(item.modify(key, "cancelled"));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
    EXPECT_THAT(signals_sent, ElementsAre(Pair(-4242, SIGTERM)));
    expect_pipes_closed();
  }
}

TEST_F(modify_state, cancel_depends_on_what_the_child_was_started_for) {
  run_ready_child(READY_QUERY_PROFILES);
  item.sm.set_state(TRANSCODE_THUMBNAIL);
  EXPECT_TRUE(item.modify(key, "cancelled"));
  EXPECT_THAT(signals_sent, IsEmpty());
}

TEST_F(modify_state, cancel_waits_for_unread_output) {
  item.sm.set_state(TRANSCODE_READY);
  item.sm.ready.set_state(READY_QUERY_PROFILES);
  item.proc_prepare_fork_spawn();
  item.proc_stdout_buffer = sliding_window_v4_create_buffer(16384);
  EXPECT_TRUE(item.modify(key, "cancelled"));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
}

TEST_F(modify_state, cancel_closes_the_metadata) {
  item.sm.set_state(TRANSCODE_READY);
  item.input_meta.context = metadata_v4_context_create();
  item.input_meta.entries = metadata_v4_metadata_context_create();
  EXPECT_TRUE(item.modify(key, "cancelled"));
  EXPECT_EQ(item.input_meta.context, nullptr);
  EXPECT_EQ(item.input_meta.entries, nullptr);
}
