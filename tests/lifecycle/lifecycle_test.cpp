// Turns of work after "ready": following the transcode, and the later phases.
#include <cstring>
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

constexpr std::int32_t unchanged = 1234;

class lifecycle_transcoding : public exec_bench {
protected:
  QueueItem& add_transcoding() {
    QueueItem& item = add_item(TRANSCODE_TRANSCODING);
    EXPECT_TRUE(item.open_proc_stdout());
    item.proc_argv = {"/bin/true"};
    EXPECT_TRUE(item.proc_spawn());
    item.progress = unchanged;
    return item;
  }
  std::int32_t progress_after(std::string_view output) {
    QueueItem& item = add_transcoding();
    child_.print(output);
    EXPECT_TRUE(item.idle());
    EXPECT_EQ(item.sm.state, TRANSCODE_TRANSCODING);
    return item.progress;
  }

  fake_child child_;
};

class lifecycle_cleanup : public exec_bench {
protected:
  QueueItem& add(cleanup_states state) {
    QueueItem& item = add_item(TRANSCODE_CLEANUP);
    item.sm.cleanup.set_state(state);
    return item;
  }
  // As for an item that removes its source.
  QueueItem& add_removing(cleanup_states state, const std::string& name) {
    QueueItem& item = add(state);
    item.delete_on_finish = true;
    EXPECT_TRUE(item.set_input_file((folder_ + "/" + name).c_str()));
    return item;
  }
  fake_child child_;
};

class lifecycle : public exec_bench {
protected:
  fake_child child_;
};

}  // namespace

TEST_F(lifecycle_transcoding, endless_line_does_not_block_the_transcoder) {
  QueueItem& item = add_transcoding();
  child_.print(std::string(16384, 'x'));
  item.idle();
  child_.print("\nEncoding: frame=50/200\n");
  item.idle();
  EXPECT_EQ(item.progress, 2500);
}

TEST_F(lifecycle_transcoding, frame_and_total_make_the_progress) {
  EXPECT_EQ(progress_after("Encoding: frame=50/200\n"), 2500);
  EXPECT_THAT(status_writes, ElementsAre("transcoding: "));
}

TEST_F(lifecycle_transcoding, single_frame_is_complete) {
  EXPECT_EQ(progress_after("Encoding: frame=1/1\n"), 10000);
}

TEST_F(lifecycle_transcoding, progress_is_not_capped) {
  EXPECT_EQ(progress_after("Encoding: frame=300/200\n"), 15000);
}

TEST_F(lifecycle_transcoding, division_truncates) {
  EXPECT_EQ(progress_after("Encoding: frame=2/3\n"), 6666);
}

TEST_F(lifecycle_transcoding, large_numbers_are_64_bit) {
  EXPECT_EQ(progress_after("Encoding: frame=6000000000/8000000000\n"), 7500);
}

TEST_F(lifecycle_transcoding, other_words_are_ignored) {
  EXPECT_EQ(progress_after("Encoding:  fps=25 frame=1/4  time=0:01 xframe=3/4\n"), 2500);
}

TEST_F(lifecycle_transcoding, words_need_no_blank_after_the_colon) {
  EXPECT_EQ(progress_after("Encoding:frame=1/4\r\n"), 2500);
}

TEST_F(lifecycle_transcoding, later_words_and_lines_count) {
  EXPECT_EQ(progress_after("Encoding: frame=1/4 frame=2/4\n"), 5000);
  EXPECT_EQ(progress_after("Encoding: frame=1/4\nEncoding: frame=3/4\n"), 7500);
}

TEST_F(lifecycle_transcoding, output_without_progress_changes_nothing) {
  for (const char* output :
       {"Encoding: frame=50\n", "Encoding: frame=50/0\n", "Encoding: frame=50/\n", "Encoding:\n",
        "encoding: frame=1/2\n", " Encoding: frame=1/2\n", "frame=1/2\n", "\n",
        "Encoding: frame=1/2", "Encoding: frame= 1/2\n", "Encoding: frame=1/4 frame=2\n"}) {
    EXPECT_EQ(progress_after(output), unchanged) << output;
  }
  EXPECT_THAT(status_writes, IsEmpty());
}

TEST_F(lifecycle_transcoding, line_in_pieces_counts_when_it_is_complete) {
  QueueItem& item = add_transcoding();
  child_.print("Encoding: frame=1/4\nEncoding: fra");
  item.idle();
  EXPECT_EQ(item.progress, 2500);
  child_.print("me=2/4\n");
  item.idle();
  EXPECT_EQ(item.progress, 5000);
}

// The buffer still belongs to another child then.
TEST_F(lifecycle_transcoding, nothing_is_read_before_the_first_output) {
  QueueItem& item = add_transcoding();
  constexpr std::string_view line = "Encoding: frame=1/4\n";
  memcpy(item.proc_stdout_buffer->write_pos, line.data(), line.size());
  item.proc_stdout_buffer->write_pos += line.size();
  EXPECT_FALSE(item.idle());
  EXPECT_EQ(item.progress, unchanged);
  item.proc_stdout_seen = true;
  item.idle();
  EXPECT_EQ(item.progress, 2500);
}

TEST_F(lifecycle_transcoding, last_line_counts_after_the_end_of_the_output) {
  QueueItem& item = add_transcoding();
  child_.print("Encoding: frame=1/4\n");
  item.idle_process();
  child_.close_stdout();
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(item.progress, 2500);
}

TEST_F(lifecycle_transcoding, without_a_child_it_is_cancelled) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  item.idle();
  EXPECT_THAT(status_writes, ElementsAre("cancelled: Transcoding without transcoding"));
}

TEST_F(lifecycle_transcoding, without_its_output_it_is_cancelled) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  fake_child::run_for(item);
  item.idle();
  EXPECT_THAT(status_writes, ElementsAre("cancelling: Transcoding without stdout"));
  EXPECT_THAT(child_.signals, ElementsAre(SIGTERM));
}

TEST_F(lifecycle, idle_states_do_nothing) {
  for (const auto state :
       {TRANSCODE_INIT, TRANSCODE_CANCELLED, TRANSCODE_DONE, TRANSCODE_CLEARED}) {
    QueueItem& item = add_item(state);
    EXPECT_FALSE(item.idle());
    EXPECT_EQ(item.sm.state, state);
  }
  EXPECT_THAT(status_writes, IsEmpty());
  EXPECT_EQ(child_.started, 0);
}

TEST_F(lifecycle, shutdown_reaps_and_starts_nothing) {
  DIE = 1;
  QueueItem& item = add_ready_item(READY_INIT);
  fake_child::run_for(item);
  child_.end(exited(0));
  EXPECT_TRUE(item.idle());
  EXPECT_EQ(item.proc_pid, -1);
  EXPECT_FALSE(item.idle());
  EXPECT_EQ(item.sm.ready.state, READY_INIT);
  EXPECT_EQ(child_.started, 0);
}

TEST_F(lifecycle, thumbnail_that_cannot_be_started_cancels_and_writes_twice) {
  QueueItem& item = add_item(TRANSCODE_THUMBNAIL);
  item.idle();
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  EXPECT_THAT(status_writes, ElementsAre("cancelled: unable to generate thumbanil",
                                         "cancelled: unable to generate thumbanil"));
}

TEST_F(lifecycle, output_metadata_that_cannot_be_started_cancel) {
  QueueItem& item = add_item(TRANSCODE_THUMBNAIL);
  item.sm.thumbnail.set_state(THUMBNAIL_METADATA_GEN);
  item.idle();
  EXPECT_THAT(status_writes, ElementsAre("cancelled: unable to generate metadata"));
}

TEST_F(lifecycle, vod_that_cannot_be_marked_is_cancelled) {
  QueueItem& item = add_item(TRANSCODE_THUMBNAIL);
  item.sm.thumbnail.set_state(THUMBNAIL_DONE);
  item.idle();
  EXPECT_THAT(status_writes, ElementsAre("cancelled: Failed to mark VOD as done"));
}

TEST_F(lifecycle, unknown_thumbnail_step_only_writes_the_status) {
  QueueItem& item = add_item(TRANSCODE_THUMBNAIL);
  item.state_message = "as it was";
  item.sm.thumbnail.state = thumbnail_states_count;
  item.idle();
  EXPECT_THAT(status_writes, ElementsAre("thumbnail: as it was"));
}

TEST_F(lifecycle_cleanup, waits_for_a_running_child) {
  for (const auto state : {CLEANUP_INIT, CLEANUP_UNLINK_FILE, CLEANUP_UNLINK_META, CLEANUP_DONE}) {
    QueueItem& item = add(state);
    fake_child::run_for(item);
    item.idle();
    EXPECT_EQ(item.sm.cleanup.state, state);
  }
}

TEST_F(lifecycle_cleanup, item_that_keeps_its_source_passes_through) {
  QueueItem& item = add(CLEANUP_INIT);
  for (const auto state : {CLEANUP_UNLINK_FILE, CLEANUP_UNLINK_META, CLEANUP_DONE}) {
    EXPECT_FALSE(item.idle());
    EXPECT_EQ(item.sm.cleanup.state, state);
  }
  EXPECT_THAT(status_writes, ElementsAre("cleanup: ", "cleanup: ", "cleanup: "));
  EXPECT_EQ(child_.started, 0);
}

TEST_F(lifecycle_cleanup, source_that_is_gone_needs_no_removal) {
  QueueItem& item = add_removing(CLEANUP_UNLINK_FILE, "gone.mpg");
  item.idle();
  EXPECT_EQ(item.sm.cleanup.state, CLEANUP_UNLINK_META);
  item.idle();
  EXPECT_EQ(item.sm.cleanup.state, CLEANUP_DONE);
  EXPECT_EQ(child_.started, 0);
}

// A source outside the media folders, from which nothing may be removed.
TEST_F(lifecycle_cleanup, removal_that_cannot_be_started_cancels) {
  for (const auto state : {CLEANUP_UNLINK_FILE, CLEANUP_UNLINK_META}) {
    QueueItem& item = add_removing(state, "clip.mpg");
    write_file(item.input_file, "");
    status_writes.clear();
    item.idle();
    EXPECT_THAT(status_writes, ElementsAre("cancelled: unable to initiate removal"));
    EXPECT_TRUE(exists(item.input_file));
  }
}

TEST_F(lifecycle_cleanup, dangling_link_is_a_source_to_remove) {
  QueueItem& item = add_removing(CLEANUP_UNLINK_META, "link.mpg");
  std::filesystem::create_symlink("nothing", item.input_file);
  item.idle();
  EXPECT_EQ(item.state_message, "unable to initiate removal");
}

TEST_F(lifecycle_cleanup, ends_in_done) {
  QueueItem& item = add(CLEANUP_DONE);
  item.idle();
  EXPECT_EQ(item.sm.state, TRANSCODE_DONE);
  EXPECT_THAT(status_writes, ElementsAre("done: Transcode complete"));
}

TEST_F(lifecycle_cleanup, ends_in_cleared_when_the_user_wants_it_removed) {
  QueueItem& item = add(CLEANUP_DONE);
  item.user_wants_remove = true;
  item.state_message = "Cleaning up...";
  const std::string job_dir = item.fileops_job_dir;
  item.idle();
  EXPECT_EQ(item.sm.state, TRANSCODE_CLEARED);
  EXPECT_THAT(status_writes, ElementsAre("cleared: "));
  EXPECT_FALSE(exists(job_dir));
  EXPECT_EQ(item.fileops_job_dir, "");
  EXPECT_EQ(next_queue_scan, clock_us);
}
