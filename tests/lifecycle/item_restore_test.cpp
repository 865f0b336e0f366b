// An item from the queue file, checked against the current state of the machine.
#include <filesystem>

#include <gmock/gmock.h>

#include "tests/lifecycle/item_answers.h"
#include "tests/queue/queue_bench.h"

using namespace qx_test;
using ::testing::Contains;
using ::testing::EndsWith;

namespace fs = std::filesystem;

namespace {

constexpr const char* job_gone_text = "Rejected: File operation disappeared unexpectedly";

// Whether the item is restored at all.
bool restore(QueueItem& item, const char* state, json_object more = {}) {
  more.emplace("fileops job id", 7);
  return item.deserialize_json(item_document(state, more), true);
}

bool is_restored(const char* state, const json_object& more = {}) {
  QueueItem item;
  return restore(item, state, more);
}

// A job directory cannot be created below a file.
void make_jobs_impossible() {
  fs::remove_all("/mnt/main/tv/fileops");
  write_file("/mnt/main/tv/fileops", "in the way");
}

class item_restore : public queue_bench {};

}  // namespace

TEST_F(item_restore, item_is_restored_unchanged) {
  inside([] {
    for (const char* state : {"cancelled", "ready", "remote transcode", "transcoding", "thumbnail",
                              "cleanup", "done"}) {
      QueueItem item;
      EXPECT_TRUE(restore(item, state, {{"state", "text"}})) << state;
      EXPECT_STREQ(item.sm.state_name(), state);
      EXPECT_EQ(item.state_message, "text");
      EXPECT_EQ(item.fileops_job_id, 7);
      EXPECT_THAT(status_lines(item), Contains("state=text"));
      EXPECT_THAT(status_lines(item), Contains("op=vod"));
    }
  });
}

TEST_F(item_restore, operation_is_named_after_the_checks) {
  inside([] {
    QueueItem item;
    std::string during_checks = "none";
    readiness.validate_ready = [&] {
      during_checks = item.fileops_op;
      return 1;
    };
    EXPECT_TRUE(restore(item, "ready"));
    EXPECT_EQ(during_checks, "");
    EXPECT_EQ(item.fileops_op, "vod");
  });
}

TEST_F(item_restore, item_that_never_left_init_is_dropped) {
  inside([] {
    for (const char* state : {"init", "Ready", ""}) {
      EXPECT_FALSE(is_restored(state)) << state;
    }
  });
}

TEST_F(item_restore, item_without_a_job_gets_one) {
  inside([] {
    QueueItem item;
    EXPECT_TRUE(restore(item, "ready", {{"fileops job id", nullptr}, {"state", "text"}}));
    EXPECT_GE(item.fileops_job_id, 0);
    EXPECT_NE(item.fileops_job_id, 7);
    EXPECT_EQ(read_file(item.fileops_job_dir + "/copy_pid"), std::to_string(getpid()) + "\n");
    EXPECT_THAT(status_lines(item), Contains("state=text"));
  });
}

TEST_F(item_restore, item_that_cannot_get_a_job_is_dropped) {
  inside([] {
    make_jobs_impossible();
    EXPECT_FALSE(is_restored("ready", {{"fileops job id", -1}}));
    EXPECT_FALSE(is_restored("done", {{"fileops job id", -1}}));
  });
}

TEST_F(item_restore, finished_item_whose_job_is_gone_is_dropped) {
  inside([] {
    fs::remove(job_directory(7));
    for (const char* state : {"cancelled", "cancelling", "done"}) {
      EXPECT_FALSE(is_restored(state)) << state;
    }
  });
}

TEST_F(item_restore, open_item_whose_job_is_gone_is_cancelled_with_a_new_one) {
  inside([] {
    fs::remove(job_directory(7));
    for (const char* state : {"ready", "remote transcode", "transcoding", "thumbnail", "cleanup"}) {
      QueueItem item;
      EXPECT_TRUE(restore(item, state)) << state;
      EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED) << state;
      EXPECT_EQ(item.state_message, job_gone_text);
      EXPECT_NE(item.fileops_job_id, 7);
      EXPECT_THAT(status_lines(item), Contains(std::string("state=") + job_gone_text));
      EXPECT_THAT(status_lines(item), Contains("transcode state=cancelled"));
      EXPECT_TRUE(exists(item.fileops_job_dir + "/copy_pid"));
      EXPECT_FALSE(exists(job_directory(7)));
    }
  });
}

TEST_F(item_restore, job_that_is_a_file_or_a_link_counts_as_gone) {
  inside([] {
    fs::rename(job_directory(7), job_directory(6));
    fs::create_directory_symlink("6", job_directory(7));
    EXPECT_FALSE(is_restored("done"));
    fs::remove(job_directory(7));
    write_file(job_directory(7), "no directory");
    EXPECT_FALSE(is_restored("done"));
    QueueItem item;
    EXPECT_TRUE(restore(item, "ready"));
    EXPECT_EQ(item.state_message, job_gone_text);
  });
}

TEST_F(item_restore, item_whose_new_job_cannot_be_made_either_says_why) {
  inside([] {
    make_jobs_impossible();
    QueueItem item;
    EXPECT_TRUE(restore(item, "ready"));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_EQ(item.state_message, "Rejected: unable to create job id");
    EXPECT_EQ(item.fileops_job_dir, "");
  });
}

TEST_F(item_restore, item_whose_source_is_gone_is_cancelled) {
  inside([] {
    fs::remove(source_file);
    for (const char* state : {"ready", "remote transcode", "transcoding", "thumbnail", "cleanup",
                              "cancelled", "cancelling"}) {
      QueueItem item;
      EXPECT_TRUE(restore(item, state)) << state;
      EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED) << state;
      EXPECT_EQ(item.state_message, "Rejected: File has disappeared");
      EXPECT_EQ(item.input_file, "");
      EXPECT_THAT(status_lines(item), Contains("state=Rejected: File has disappeared"));
    }
  });
}

TEST_F(item_restore, item_that_lost_job_and_source_gets_a_new_job) {
  inside([] {
    fs::remove(source_file);
    fs::remove(job_directory(7));
    QueueItem item;
    EXPECT_TRUE(restore(item, "ready"));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_NE(item.fileops_job_id, 7);
    EXPECT_THAT(status_lines(item), Contains("state=Rejected: File has disappeared"));
  });
}

TEST_F(item_restore, source_of_a_finished_item_is_not_checked) {
  inside([] {
    fs::remove(source_file);
    QueueItem item;
    EXPECT_TRUE(restore(item, "done", {{"state", "Transcode complete"}}));
    EXPECT_EQ(item.sm.state, TRANSCODE_DONE);
    EXPECT_EQ(item.state_message, "Transcode complete");
    EXPECT_EQ(item.input_file, source_file);
  });
}

TEST_F(item_restore, dangling_link_is_a_source_but_not_a_file) {
  inside([] {
    fs::remove(source_file);
    fs::create_symlink("nowhere", source_file);
    QueueItem item;
    EXPECT_TRUE(restore(item, "ready"));
    EXPECT_EQ(item.state_message, "Rejected: neither file nor folder");
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_EQ(item.input_file, source_file);
  });
}

TEST_F(item_restore, item_that_is_no_longer_allowed_is_cancelled) {
  inside([] {
    QueueItem item;
    EXPECT_TRUE(restore(item, "transcoding", {{"input file", "/etc/passwd"}}));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_EQ(item.state_message, "Rejected: Forbidden input file");
    EXPECT_THAT(status_lines(item), Contains("transcode state=cancelled"));
  });
}

TEST_F(item_restore, item_without_a_source_folder_is_cancelled) {
  inside([] {
    fs::create_directory_symlink("/etc", "/mnt/link");
    QueueItem item;
    EXPECT_TRUE(restore(item, "ready", {{"input file", "/mnt/link/passwd"}}));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_EQ(item.state_message, "Rejected: unable to locate folder");
  });
}

TEST_F(item_restore, pending_cancel_is_completed_in_the_first_turn) {
  inside([] {
    QueueItem item;
    EXPECT_TRUE(restore(item, "cancelling", {{"state", "Cancelled by user"}}));
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
    item.idle();
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_THAT(status_lines(item), Contains("transcode state=cancelled"));
    EXPECT_THAT(status_lines(item), Contains("state=Cancelled by user"));
  });
}

TEST_F(item_restore, item_past_its_listing_gets_an_output_and_its_metadata_directory) {
  inside([] {
    QueueItem item;
    EXPECT_TRUE(restore(item, "transcoding", {{"transcode profile", "720"}}));
    EXPECT_THAT(item.output_file, EndsWith(".vod.720.clip.mpg.mp4"));
    EXPECT_TRUE(fs::is_directory(item.output_metadir));
    QueueItem unlisted;
    EXPECT_TRUE(restore(unlisted, "ready", {{"ready state", "query profiles"}}));
    EXPECT_EQ(unlisted.output_file, "");
  });
}

TEST_F(item_restore, flags_remote_job_and_step_survive_the_checks) {
  inside([] {
    QueueItem item;
    EXPECT_TRUE(restore(item, "remote transcode",
                        {{"remote transcode state", "monitor"},
                         {"user wants to cancel", true},
                         {"uploaded", true},
                         {"remote job", json_object{{"entry id", "far"}}}}));
    EXPECT_EQ(item.sm.remote.state, REMOTE_MONITOR);
    EXPECT_TRUE(item.user_wants_cancel && item.uploaded);
    EXPECT_EQ(item.remote_info.entry_id, "far");
  });
}
