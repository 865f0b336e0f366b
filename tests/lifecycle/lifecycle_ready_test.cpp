// The "ready" phase, turn by turn.
#include <cerrno>
#include <filesystem>

#include <gmock/gmock.h>

#include "platform/sliding_window_v4.h"
#include "queue/process_state.h"
#include "queue/slots.h"
#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char overrun_text[] =
    "Rejected: utility std-output buffer overrun. Please report to Velmar staff.";

class lifecycle_ready : public exec_bench {
protected:
  QueueItem& add(ready_states state) {
    QueueItem& item = add_ready_item(state);
    EXPECT_TRUE(item.set_input_file((folder_ + "/clip.mpg").c_str()));
    write_file(item.input_file, "");
    return item;
  }
  void write_metadata(const std::string& content) const {
    write_file(folder_ + "/.clip.mpg.metadata/metadata", content);
  }
  // Gives the item a turn, which must cancel it with this text and one status write. A failed step
  // counts as work; an item that waits for the scheduler does not.
  static void expect_cancelled(QueueItem& item, const std::string& text, bool is_work = true) {
    EXPECT_EQ(item.idle(), is_work);
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_THAT(status_writes, ElementsAre("cancelled: " + text));
  }

  fake_child child_;
};

using lifecycle_overrun = lifecycle_ready;

}  // namespace

TEST_F(lifecycle_ready, begins_with_the_metadata) {
  QueueItem& item = add(READY_INIT);
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(item.sm.ready.state, READY_CHECK_META);
  EXPECT_EQ(child_.started, 0);
}

TEST_F(lifecycle_ready, steps_wait_on_a_machine_just_booted) {
  uptime_wait = true;
  for (const auto state : {READY_CHECK_META, READY_QUERY_PROFILES}) {
    QueueItem& item = add(state);
    EXPECT_FALSE(item.idle());
    EXPECT_EQ(item.sm.ready.state, state);
  }
  EXPECT_EQ(child_.started, 0);
}

TEST_F(lifecycle_ready, identification_waits_for_another_one) {
  QueueItem other;
  item_metadata_ident_in_action = &other;
  QueueItem& item = add(READY_CHECK_META);
  EXPECT_FALSE(item.idle());
  EXPECT_EQ(child_.started, 0);
  item_metadata_ident_in_action = nullptr;
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(child_.started, 1);
  EXPECT_EQ(item_metadata_ident_in_action, &item);
}

TEST_F(lifecycle_ready, identification_continues_in_its_own_slot) {
  QueueItem& item = add(READY_CHECK_META);
  item_metadata_ident_in_action = &item;
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(child_.started, 1);
}

// A source whose identification succeeds without setting a type.
TEST_F(lifecycle_ready, unsuccessful_identification_is_repeated_at_growing_intervals) {
  QueueItem& item = add(READY_CHECK_META);
  ASSERT_TRUE(item.idle());
  int runs = 1;
  for (const std::uint64_t seconds : {1U, 2U, 4U, 8U, 16U, 32U, 60U, 60U}) {
    child_.end(exited(0));
    item.idle();
    EXPECT_EQ(item.proc_pid, -1);
    EXPECT_EQ(item_metadata_ident_in_action, nullptr) << "others may have the slot meanwhile";
    clock_us += seconds * 1000000 - 1;
    EXPECT_FALSE(item.idle());
    EXPECT_EQ(child_.started, runs);
    clock_us += 1;
    EXPECT_TRUE(item.idle());
    EXPECT_EQ(child_.started, ++runs) << seconds;
    EXPECT_EQ(item_metadata_ident_in_action, &item);
  }
}

TEST_F(lifecycle_ready, identification_that_found_the_type_causes_no_wait) {
  QueueItem& item = add(READY_CHECK_META);
  ASSERT_TRUE(item.idle());
  write_metadata("file type=video/mp4\n");
  child_.end(exited(0));
  item.idle();
  EXPECT_EQ(item.sm.ready.state, READY_QUERY_PROFILES);
}

TEST_F(lifecycle_ready, restarted_job_does_not_wait_for_identification) {
  QueueItem& item = add(READY_CHECK_META);
  ASSERT_TRUE(item.idle());
  child_.end(exited(0));
  item.idle();
  item.sm.ready.set_state(READY_INIT);
  EXPECT_TRUE(item.idle());
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(child_.started, 2);
}

TEST_F(lifecycle_ready, existing_metadata_needs_no_slot) {
  write_metadata("file type=video/mp4\n");
  QueueItem& item = add(READY_CHECK_META);
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(item.sm.ready.state, READY_QUERY_PROFILES);
  EXPECT_EQ(item_metadata_ident_in_action, nullptr);
}

TEST_F(lifecycle_ready, unreadable_metadata_cancel_it) {
  write_metadata("no entry\n");
  expect_cancelled(add(READY_CHECK_META), "unable to check metadata");
}

TEST_F(lifecycle_ready, listing_waits_for_another_one) {
  QueueItem other;
  item_query_profiles_in_action = &other;
  QueueItem& item = add(READY_QUERY_PROFILES);
  EXPECT_FALSE(item.idle());
  EXPECT_EQ(child_.started, 0);
  item_query_profiles_in_action = nullptr;
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(child_.started, 1);
  EXPECT_EQ(item_query_profiles_in_action, &item);
}

TEST_F(lifecycle_ready, known_profiles_need_no_slot) {
  QueueItem& item = add(READY_QUERY_PROFILES);
  item.quoted_profile = {"720"};
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(item.sm.ready.state, READY_READY_TO_TRANSCODE);
  EXPECT_EQ(item_query_profiles_in_action, nullptr);
  EXPECT_EQ(child_.started, 0);
}

TEST_F(lifecycle_ready, listing_that_cannot_be_started_cancels_it) {
  kernel.pipe2 = [](int*, int) {
    errno = EMFILE;
    return -1;
  };
  expect_cancelled(add(READY_QUERY_PROFILES), "unable to list profiles");
  EXPECT_EQ(item_query_profiles_in_action, nullptr);
}

TEST_F(lifecycle_ready, failed_fork_of_the_listing_cancels_it) {
  kernel.fork = [] { return -1; };
  expect_cancelled(add(READY_QUERY_PROFILES), "unable to list profiles");
}

TEST_F(lifecycle_ready, failed_fork_of_the_identification_cancels_it) {
  kernel.fork = [] { return -1; };
  expect_cancelled(add(READY_CHECK_META), "unable to check metadata");
}

// The termination signal arrives between the check for it and the step.
TEST_F(lifecycle_ready, step_refused_because_of_a_shutdown_does_not_cancel) {
  kernel.fork = [] {
    DIE = 1;
    return -1;
  };
  for (const auto state : {READY_CHECK_META, READY_QUERY_PROFILES}) {
    DIE = 0;
    QueueItem& item = add(state);
    item.idle();
    EXPECT_EQ(item.sm.state, TRANSCODE_READY);
    EXPECT_EQ(item.sm.ready.state, state);
  }
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(lifecycle_ready, missing_profiles_at_the_end_cancel_it) {
  expect_cancelled(add(READY_READY_TO_TRANSCODE), "no profiles listed", false);
}

TEST_F(lifecycle_ready, missing_choice_at_the_end_cancels_it) {
  QueueItem& item = add(READY_READY_TO_TRANSCODE);
  item.quoted_profile = {"720"};
  expect_cancelled(item, "no profile chosen, ready to transcode state", false);
}

TEST_F(lifecycle_ready, complete_item_waits_for_the_scheduler) {
  QueueItem& item = add(READY_READY_TO_TRANSCODE);
  item.quoted_profile = {"720"};
  item.transcode_profile = "720";
  item.output_file = "/mnt/main/tv/vod/clip.mp4";
  EXPECT_FALSE(item.idle());
  EXPECT_EQ(item.sm.ready.state, READY_READY_TO_TRANSCODE);
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(lifecycle_ready, unknown_step_cancels_it) {
  QueueItem& item = add(READY_INIT);
  item.sm.ready.state = ready_states_count;
  expect_cancelled(item, "bug: unknown ready state");
}

TEST_F(lifecycle_ready, nothing_is_started_while_a_child_runs) {
  QueueItem& item = add(READY_CHECK_META);
  ASSERT_TRUE(item.idle());
  EXPECT_FALSE(item.idle());
  EXPECT_EQ(child_.started, 1);
}

TEST_F(lifecycle_overrun, full_buffer_cancels_the_listing_and_leaves_its_child_alone) {
  QueueItem& item = add(READY_QUERY_PROFILES);
  ASSERT_TRUE(item.idle());
  child_.print(std::string(16384, 'x'));
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
  EXPECT_THAT(status_writes, ElementsAre(std::string("cancelling: ") + overrun_text));
  EXPECT_THAT(child_.signals, IsEmpty());
  EXPECT_NE(item.proc_stdout_read_fd, -1);
}

TEST_F(lifecycle_overrun, one_byte_of_room_is_enough) {
  QueueItem& item = add(READY_QUERY_PROFILES);
  ASSERT_TRUE(item.idle());
  child_.print(std::string(16383, 'x'));
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(item.sm.state, TRANSCODE_READY);
}

TEST_F(lifecycle_overrun, full_buffer_does_not_count_before_any_output) {
  QueueItem& item = add(READY_QUERY_PROFILES);
  ASSERT_TRUE(item.idle());
  item.proc_stdout_buffer->write_pos = item.proc_stdout_buffer->region_end;
  EXPECT_FALSE(item.idle());
  EXPECT_EQ(item.sm.state, TRANSCODE_READY);
}

// Complete lines do not help: the listing is evaluated as a whole, at its end.
TEST_F(lifecycle_overrun, full_buffer_of_complete_lines_counts_too) {
  QueueItem& item = add(READY_QUERY_PROFILES);
  ASSERT_TRUE(item.idle());
  std::string lines = "*QUOTE\n";
  while (lines.size() + 7 <= 16384) {
    lines += ".. 720\n";
  }
  child_.print(lines + std::string(16384 - lines.size(), '\n'));
  item.idle();
  EXPECT_EQ(item.state_message, overrun_text);
}

TEST_F(lifecycle_overrun, full_buffer_of_a_closed_pipe_counts_too) {
  QueueItem& item = add(READY_QUERY_PROFILES);
  ASSERT_TRUE(item.idle());
  uptime_wait = true;
  child_.print(std::string(16384, 'x'));
  item.idle_process();
  close(item.proc_stdout_read_fd);
  item.proc_stdout_read_fd = -1;
  item.idle();
  EXPECT_EQ(item.state_message, overrun_text);
}

TEST_F(lifecycle_overrun, cancel_is_completed_when_the_child_has_ended) {
  QueueItem& item = add(READY_QUERY_PROFILES);
  ASSERT_TRUE(item.idle());
  child_.print(std::string(16384, 'x'));
  item.idle();
  child_.end(exited(0));
  item.idle();
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  EXPECT_EQ(item.state_message, overrun_text);
  EXPECT_EQ(item_query_profiles_in_action, nullptr);
}
