// Evaluating ended children, step by step: success, failure, and ends that come too late.
#include <gmock/gmock.h>

#include "queue/slots.h"
#include "tests/lifecycle/ended_step.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using termination = ended_step;

TEST_F(termination, end_is_logged_and_every_slot_released) {
  QueueItem& item = run(TRANSCODE_CANCELLED);
  item_query_profiles_in_action = &item;
  const stderr_capture capture;
  end(item, exited(3));
  EXPECT_EQ(capture.text(),
            "Queue item '" + item.entry_id + "' process terminated (status=0x300)\n");
  EXPECT_EQ(item_query_profiles_in_action, nullptr);
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(termination, idle_states_evaluate_nothing) {
  for (const auto state : {TRANSCODE_INIT, TRANSCODE_CANCELLED, TRANSCODE_CANCELLING,
                           TRANSCODE_DONE, TRANSCODE_CLEARED}) {
    QueueItem& item = run(state);
    end(item, exited(1));
    EXPECT_EQ(item.sm.state, state);
    EXPECT_THAT(status_writes, IsEmpty());
  }
}

TEST_F(termination, shutdown_evaluates_nothing_but_releases_slots) {
  DIE = 1;
  QueueItem& item = run(TRANSCODE_TRANSCODING);
  item_active_transcode_in_action = &item;
  end(item, killed_by(SIGTERM));
  EXPECT_EQ(item.sm.state, TRANSCODE_TRANSCODING);
  EXPECT_EQ(item_active_transcode_in_action, nullptr);
  EXPECT_THAT(status_writes, IsEmpty());
  EXPECT_FALSE(rescans());
}

TEST_F(termination, identification_success_makes_the_item_check_again) {
  QueueItem& item = run(READY_CHECK_META);
  end(item, exited(0));
  EXPECT_EQ(item.sm.state, TRANSCODE_READY);
  EXPECT_EQ(item.sm.ready.state, READY_CHECK_META);
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(termination, identification_failure_rejects_the_item) {
  for (const int status : failures) {
    end(run(READY_CHECK_META), status);
    EXPECT_THAT(status_writes, ElementsAre("cancelling: Rejected: Unable to create metadata or "
                                           "identify item"));
  }
}

TEST_F(termination, late_identification_changes_nothing) {
  QueueItem& item = run(READY_CHECK_META);
  item.sm.set_state(TRANSCODE_CANCELLING);
  end(item, exited(1));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(termination, transcode_success_leads_to_the_thumbnail) {
  QueueItem& item = run(TRANSCODE_TRANSCODING);
  end(item, exited(0));
  EXPECT_EQ(item.sm.thumbnail.state, THUMBNAIL_INIT);
  EXPECT_EQ(item.progress, 10000);
  EXPECT_THAT(status_writes, ElementsAre("thumbnail: Transcode OK"));
  EXPECT_TRUE(rescans());
}

TEST_F(termination, transcode_failure_cancels) {
  for (const int status : failures) {
    QueueItem& item = run(TRANSCODE_TRANSCODING);
    end(item, status);
    EXPECT_THAT(status_writes, ElementsAre("cancelling: Transcoding failed"));
    EXPECT_EQ(item.progress, 0);
    EXPECT_TRUE(rescans());
  }
}

// Its process id may already belong to another process.
TEST_F(termination, failed_child_is_not_signalled_directly) {
  QueueItem& item = run(TRANSCODE_TRANSCODING);
  std::vector<pid_t> targets;
  kernel.kill = [&](pid_t target, int) {
    targets.push_back(target);
    errno = ESRCH;
    return -1;
  };
  child_.end(exited(1));
  item.idle_process();
  EXPECT_EQ(item.state_message, "Transcoding failed");
  EXPECT_THAT(targets, ElementsAre(-fake_child::pid));
}

TEST_F(termination, late_transcode_only_triggers_a_scan) {
  for (const int status : {exited(0), exited(1), killed_by(SIGTERM)}) {
    QueueItem& item = run(TRANSCODE_TRANSCODING);
    item.sm.set_state(TRANSCODE_CANCELLING);
    item.state_message = "Cancelled by user";
    end(item, status);
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
    EXPECT_EQ(item.state_message, "Cancelled by user");
    EXPECT_THAT(status_writes, IsEmpty());
    EXPECT_TRUE(rescans());
  }
}

TEST_F(termination, thumbnail_success_leads_to_the_next_step) {
  QueueItem& item = run(THUMBNAIL_GEN);
  end(item, exited(0));
  EXPECT_EQ(item.sm.thumbnail.state, THUMBNAIL_METADATA_GEN);
  EXPECT_THAT(status_writes, ElementsAre("thumbnail: Thumbnail done"));
}

TEST_F(termination, missing_thumbnail_fails_nothing) {
  for (const int status : failures) {
    QueueItem& item = run(THUMBNAIL_GEN);
    end(item, status);
    EXPECT_EQ(item.sm.thumbnail.state, THUMBNAIL_METADATA_GEN);
    EXPECT_THAT(status_writes, ElementsAre("thumbnail: Unable to gen thumbnail. Done"));
  }
}

TEST_F(termination, output_metadata_success_keeps_the_text) {
  QueueItem& item = run(THUMBNAIL_METADATA_GEN);
  item.state_message = "Generating metadata for VOD";
  end(item, exited(0));
  EXPECT_EQ(item.sm.thumbnail.state, THUMBNAIL_DONE);
  EXPECT_THAT(status_writes, ElementsAre("thumbnail: Generating metadata for VOD"));
}

TEST_F(termination, missing_output_metadata_fail_nothing) {
  for (const int status : failures) {
    QueueItem& item = run(THUMBNAIL_METADATA_GEN);
    end(item, status);
    EXPECT_EQ(item.sm.thumbnail.state, THUMBNAIL_DONE);
    EXPECT_THAT(status_writes, ElementsAre("thumbnail: Unable to gen vod meta. Done"));
  }
}

TEST_F(termination, other_thumbnail_steps_evaluate_nothing) {
  for (const auto state : {THUMBNAIL_INIT, THUMBNAIL_DONE}) {
    QueueItem& item = run(state);
    end(item, exited(0));
    EXPECT_EQ(item.sm.thumbnail.state, state);
    EXPECT_THAT(status_writes, IsEmpty());
  }
}

TEST_F(termination, by_products_and_removals_are_distinguished_by_the_items_state) {
  QueueItem& thumbnail = run(THUMBNAIL_GEN);
  thumbnail.sm.thumbnail.set_state(THUMBNAIL_METADATA_GEN);
  end(thumbnail, exited(1));
  EXPECT_THAT(status_writes, ElementsAre("thumbnail: Unable to gen vod meta. Done"));
  QueueItem& cleanup = run(CLEANUP_UNLINK_FILE);
  cleanup.sm.cleanup.set_state(CLEANUP_UNLINK_META);
  end(cleanup, exited(1));
  EXPECT_THAT(status_writes, ElementsAre("cancelling: Unable to remove file"));
}

TEST_F(termination, late_thumbnail_changes_nothing) {
  QueueItem& item = run(THUMBNAIL_GEN);
  item.sm.set_state(TRANSCODE_CANCELLING);
  end(item, exited(1));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(termination, removed_metadata_lead_to_the_removal_of_the_file) {
  QueueItem& item = run(CLEANUP_UNLINK_FILE);
  end(item, exited(0));
  EXPECT_EQ(item.sm.cleanup.state, CLEANUP_UNLINK_META);
  EXPECT_EQ(status_writes.size(), 1U);
}

TEST_F(termination, removed_file_ends_the_cleanup) {
  QueueItem& item = run(CLEANUP_UNLINK_META);
  end(item, exited(0));
  EXPECT_EQ(item.sm.cleanup.state, CLEANUP_DONE);
  EXPECT_EQ(status_writes.size(), 1U);
}

// The first step is named "unlink file", but its text says what it removes.
TEST_F(termination, removal_failures_say_what_was_not_removed) {
  for (const int status : failures) {
    end(run(CLEANUP_UNLINK_FILE), status);
    EXPECT_THAT(status_writes, ElementsAre("cancelling: Unable to remove metadata"));
    end(run(CLEANUP_UNLINK_META), status);
    EXPECT_THAT(status_writes, ElementsAre("cancelling: Unable to remove file"));
  }
}

TEST_F(termination, other_cleanup_steps_evaluate_nothing) {
  for (const auto state : {CLEANUP_INIT, CLEANUP_DONE}) {
    QueueItem& item = run(state);
    end(item, exited(1));
    EXPECT_EQ(item.sm.cleanup.state, state);
    EXPECT_THAT(status_writes, IsEmpty());
  }
}

TEST_F(termination, late_removal_changes_nothing) {
  for (const int status : {exited(0), exited(1)}) {
    QueueItem& item = run(CLEANUP_UNLINK_FILE);
    item.sm.set_state(TRANSCODE_CANCELLING);
    EXPECT_NO_THROW(end(item, status));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
    EXPECT_THAT(status_writes, IsEmpty());
  }
}

// The item became "cleared" while its "cleanup" child was running, so there is no cleanup machine
// left to set.
TEST_F(termination, end_after_a_change_of_state_throws_nothing) {
  for (const auto state : {TRANSCODE_CLEARED, TRANSCODE_DONE, TRANSCODE_INIT}) {
    QueueItem& thumbnail = run(THUMBNAIL_METADATA_GEN);
    QueueItem& listing = run_listing("*QUOTE\n.. 720\n");
    for (QueueItem* item : {&thumbnail, &listing}) {
      item->sm.set_state(state);
      EXPECT_NO_THROW(end(*item, exited(0)));
      EXPECT_EQ(item->sm.state, state);
    }
  }
}

TEST_F(termination, slot_is_free_before_the_step_is_evaluated) {
  QueueItem& item = run(TRANSCODE_TRANSCODING);
  item_active_transcode_in_action = &item;
  end(item, exited(1));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING) << "the child's end is still being judged";
  EXPECT_EQ(item_active_transcode_in_action, nullptr);
}
