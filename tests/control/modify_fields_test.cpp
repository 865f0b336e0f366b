// Which fields of an item a client may change in which state, and the effect of each change.
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>

#include "queue/process_state.h"
#include "tests/queue/queue_bench.h"
#include "tests/support/status_writes.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

class modify : public queue_bench {
protected:
  modify() { item.state_message = "before"; }
  void enter(transcode_states state) { item.sm.set_state(state); }
  void enter_remote(remote_transcode_states state) {
    enter(TRANSCODE_REMOTE);
    item.sm.remote.set_state(state);
  }

  QueueItem item;
};

}  // namespace

TEST_F(modify, unknown_names_are_refused) {
  item.set_input_file(source_file);
  for (const char* name : {"Paused", "paused ", "", "approved", "waiting", "uploaded", "state",
                           "output file", "entry id", "fileops job id", "transcode progress",
                           "input file ", "quoted profile", "process pid"}) {
    EXPECT_EQ(stderr_of([&] { EXPECT_FALSE(item.modify(name, "1")) << name; }), "");
  }
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(modify, source_can_only_be_set_in_init) {
  for (const auto state : all_states) {
    QueueItem other;
    other.sm.set_state(state);
    EXPECT_EQ(other.modify("input file", source_file), state == TRANSCODE_INIT) << state;
    EXPECT_EQ(other.input_file, state == TRANSCODE_INIT ? source_file : "") << state;
  }
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(modify, refused_source_clears_it) {
  ASSERT_TRUE(item.modify("input file", source_file));
  EXPECT_FALSE(item.modify("input file", "clip.mov"));
  EXPECT_EQ(item.input_file + item.input_dir + item.input_name, "");
}

TEST_F(modify, source_stays_when_refused_in_a_later_state) {
  item.set_input_file(source_file);
  enter(TRANSCODE_READY);
  EXPECT_FALSE(item.modify("input file", "/mnt/media/other.mpg"));
  EXPECT_EQ(item.input_file, source_file);
}

TEST_F(modify, profile_can_be_set_until_the_transcode_begins) {
  for (const auto state : all_states) {
    QueueItem other;
    other.sm.set_state(state);
    status_writes.clear();
    EXPECT_EQ(other.modify("transcode profile", "720"), state <= TRANSCODE_READY) << state;
    EXPECT_EQ(other.transcode_profile, state <= TRANSCODE_READY ? "720" : "") << state;
    EXPECT_EQ(status_writes.size(), state <= TRANSCODE_READY ? 1U : 0U) << state;
  }
}

TEST_F(modify, profile_is_copied_unchanged) {
  const std::string longer(9000, 'x');
  for (const char* value : {"", " 720\n", "no such profile", longer.c_str()}) {
    EXPECT_TRUE(item.modify("transcode profile", value));
    EXPECT_EQ(item.transcode_profile, value);
  }
}

TEST_F(modify, delete_on_finish_can_be_set_before_cleanup) {
  for (const auto state : all_states) {
    QueueItem other;
    other.sm.set_state(state);
    EXPECT_EQ(other.modify("delete on finish", "1"), state < TRANSCODE_CLEANUP) << state;
    EXPECT_EQ(other.delete_on_finish, state < TRANSCODE_CLEANUP) << state;
  }
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(modify, numbers_above_zero_are_true) {
  for (const char* value : {"1", "2", " 1", "+3", "1x", "99999999999999999999", "\t7"}) {
    item.delete_on_finish = false;
    EXPECT_TRUE(item.modify("delete on finish", value));
    EXPECT_TRUE(item.delete_on_finish) << value;
  }
  for (const char* value : {"0", "", "yes", "true", "-1", "x1", "0x1", "-99999999999999999999"}) {
    item.delete_on_finish = true;
    EXPECT_TRUE(item.modify("delete on finish", value));
    EXPECT_FALSE(item.delete_on_finish) << value;
  }
}

TEST_F(modify, pause_in_init_only_sets_the_flag) {
  EXPECT_TRUE(item.modify("paused", "1"));
  EXPECT_TRUE(item.paused);
  EXPECT_TRUE(item.modify("paused", "no digits"));
  EXPECT_FALSE(item.paused);
  EXPECT_EQ(item.state_message, "before");
  EXPECT_EQ(next_queue_scan, 0U);
  EXPECT_THAT(signals_sent, IsEmpty());
  EXPECT_EQ(status_writes.size(), 2U);
}

TEST_F(modify, pause_stops_the_transcoder) {
  enter(TRANSCODE_TRANSCODING);
  item.proc_pid = 4242;
  EXPECT_TRUE(item.modify("paused", "1"));
  item.proc_pid = -1;
  EXPECT_TRUE(item.paused);
  EXPECT_THAT(signals_sent, ElementsAre(Pair(-4242, SIGUSR1)));
  EXPECT_THAT(status_writes, ElementsAre("transcoding: Paused"));
  EXPECT_EQ(next_queue_scan, 0U);
}

TEST_F(modify, pause_is_accepted_in_every_state) {
  for (const auto state : all_states) {
    if (state == TRANSCODE_INIT || state == TRANSCODE_REMOTE) { continue; }
    QueueItem other;
    other.sm.set_state(state);
    status_writes.clear();
    EXPECT_TRUE(other.modify("paused", "1")) << state;
    EXPECT_TRUE(other.paused) << state;
    EXPECT_EQ(other.state_message, "Paused");
    EXPECT_EQ(status_writes.size(), 1U);
  }
}

TEST_F(modify, pause_of_a_monitored_remote_job_becomes_a_command) {
  enter_remote(REMOTE_MONITOR);
  EXPECT_TRUE(item.modify("paused", "1"));
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "pause");
  EXPECT_TRUE(item.user_wants_pause);
  EXPECT_FALSE(item.paused);
  EXPECT_THAT(status_writes, ElementsAre("remote transcode: before"));
}

TEST_F(modify, resumed_transcode_waits_for_its_turn) {
  enter(TRANSCODE_TRANSCODING);
  item.paused = true;
  EXPECT_TRUE(item.modify("paused", "0"));
  EXPECT_FALSE(item.paused);
  EXPECT_TRUE(item.waiting);
  EXPECT_EQ(next_queue_scan, clock_us);
  EXPECT_THAT(status_writes, ElementsAre("transcoding: Resuming transcode..."));
  EXPECT_THAT(signals_sent, IsEmpty());
}

TEST_F(modify, resume_of_a_running_transcode_changes_nothing) {
  enter(TRANSCODE_TRANSCODING);
  EXPECT_TRUE(item.modify("paused", "0"));
  EXPECT_FALSE(item.waiting);
  EXPECT_EQ(next_queue_scan, clock_us);
  EXPECT_THAT(status_writes, ElementsAre("transcoding: before"));
}

TEST_F(modify, resumed_ready_item_is_ready) {
  enter(TRANSCODE_READY);
  item.paused = item.waiting = true;
  EXPECT_TRUE(item.modify("paused", "0"));
  EXPECT_FALSE(item.paused || item.waiting);
  EXPECT_EQ(next_queue_scan, clock_us);
  EXPECT_THAT(status_writes, ElementsAre("ready: Ready"));
}

TEST_F(modify, resume_of_a_ready_item_that_is_not_paused_keeps_its_text) {
  enter(TRANSCODE_READY);
  item.waiting = true;
  EXPECT_TRUE(item.modify("paused", "0"));
  EXPECT_TRUE(item.waiting);
  EXPECT_THAT(status_writes, ElementsAre("ready: before"));
}

TEST_F(modify, resume_of_a_monitored_remote_job_becomes_a_command) {
  enter_remote(REMOTE_MONITOR);
  item.paused = item.user_wants_pause = true;
  EXPECT_TRUE(item.modify("paused", "0"));
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "resume");
  EXPECT_FALSE(item.user_wants_pause);
  EXPECT_TRUE(item.paused) << "until the server confirms";
  EXPECT_EQ(next_queue_scan, 0U);
  EXPECT_THAT(status_writes, ElementsAre("remote transcode: before"));
}

TEST_F(modify, resume_during_a_command_withdraws_the_wish) {
  enter_remote(REMOTE_COMMAND);
  item.sm.remote_command = "pause";
  item.paused = item.user_wants_pause = true;
  EXPECT_TRUE(item.modify("paused", "0"));
  EXPECT_EQ(item.sm.remote_command, "pause");
  EXPECT_FALSE(item.user_wants_pause);
  EXPECT_TRUE(item.paused);
  EXPECT_EQ(status_writes.size(), 1U);
}

TEST_F(modify, resume_elsewhere_clears_the_pause_and_triggers_a_scan) {
  for (const auto state : {REMOTE_INIT, REMOTE_UPLOAD, REMOTE_ADD, REMOTE_DOWNLOAD, REMOTE_DONE}) {
    enter_remote(state);
    item.paused = item.user_wants_pause = true;
    next_queue_scan = 0;
    EXPECT_TRUE(item.modify("paused", "0")) << state;
    EXPECT_FALSE(item.paused) << state;
    EXPECT_TRUE(item.user_wants_pause) << state;
    EXPECT_EQ(item.sm.remote.state, state);
    EXPECT_EQ(next_queue_scan, clock_us);
    EXPECT_EQ(item.state_message, "before");
  }
}

TEST_F(modify, resume_in_any_other_state_only_clears_the_pause) {
  for (const auto state : {TRANSCODE_CANCELLED, TRANSCODE_CANCELLING, TRANSCODE_THUMBNAIL,
                           TRANSCODE_CLEANUP, TRANSCODE_DONE, TRANSCODE_CLEARED}) {
    enter(state);
    item.paused = true;
    next_queue_scan = 0;
    status_writes.clear();
    EXPECT_TRUE(item.modify("paused", "0")) << state;
    EXPECT_FALSE(item.paused || item.waiting) << state;
    EXPECT_EQ(next_queue_scan, clock_us);
    EXPECT_THAT(status_writes, ElementsAre(item.sm.state_name() + std::string(": before")));
  }
}

TEST_F(modify, value_too_large_for_the_queue_file_is_refused) {
  ASSERT_TRUE(item.modify("input file", source_file));
  ASSERT_TRUE(item.modify("transcode profile", "720"));
  const std::string huge = "/mnt/media/" + std::string(25U << 20U, 'x');
  EXPECT_FALSE(item.modify("transcode profile", huge.c_str()));
  EXPECT_EQ(item.transcode_profile, "720");
  EXPECT_FALSE(item.modify("input file", huge.c_str()));
  EXPECT_EQ(item.input_file, "") << "as after every refusal of a source";
}
