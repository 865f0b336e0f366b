// Thumbnail, metadata of the output, copy of the source's metadata, ready marker: the "thumbnail"
// phase from its first turn to its last.
#include <filesystem>

#include <gmock/gmock.h>

#include "queue/process_state.h"
#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char metadir[] = "/mnt/main/tv/vod/.out.mp4.metadata";

class by_products : public private_exec_bench {
protected:
  by_products() {
    root_.write_source("/mnt/media/clip.mpg", "video/mpeg");
    std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
  }
  QueueItem& add(thumbnail_states state = THUMBNAIL_INIT) {
    QueueItem& item = add_source_item(TRANSCODE_THUMBNAIL);
    item.sm.thumbnail.set_state(state);
    item.transcode_profile = "720";
    EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod/out.mp4"));
    return item;
  }
  // With a pipe and a buffer from an earlier step, which the tool must not get.
  static void leave_input_open(QueueItem& item) {
    ASSERT_TRUE(QueueItem::_std_open_anonpipe(item.proc_stdin_read_fd, item.proc_stdin_write_fd));
    item.proc_stderr_to_stdout = true;
    item.proc_drain_stdout_before_reap = true;
  }
  static void expect_silent(const QueueItem& item) {
    EXPECT_EQ(item.proc_pid, fake_child::pid);
    EXPECT_EQ(item.proc_stdin_read_fd, -1);
    EXPECT_EQ(item.proc_stdin_write_fd, -1);
    EXPECT_EQ(item.proc_stdout_read_fd, -1);
    EXPECT_FALSE(item.proc_stderr_to_stdout);
    EXPECT_FALSE(item.proc_drain_stdout_before_reap);
  }
};

using vod_copy = by_products;
using vod_marker = by_products;

}  // namespace

TEST_F(by_products, picture_is_taken_from_the_source) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add();
    leave_input_open(item);
    item.idle();
    EXPECT_THAT(item.proc_argv,
                ElementsAre("/usr/bin/qxmi_grab", "--keep-aspect-ratio", "--clip-aspect-ratio",
                            "--jpeg-quality", "75", "--jpeg", "--height", "720", "-t", "random",
                            "-o", std::string(metadir) + "/vod.thumbnail.jpg", "--file",
                            "/mnt/media/clip.mpg", "--no-uid"));
    expect_silent(item);
    EXPECT_EQ(item.proc_sm.thumbnail.state, THUMBNAIL_GEN) << "in the very turn of the first step";
    EXPECT_EQ(status_writes.back(), "thumbnail: Generating thumbnail");
    EXPECT_TRUE(std::filesystem::is_directory(metadir));
  });
}

TEST_F(by_products, picture_needs_its_state_and_an_output_and_no_shutdown) {
  inside([&] {
    const fake_child child;
    DIE = 1;
    EXPECT_FALSE(add().proc_start_gen_thumbnail());
    DIE = 0;
    QueueItem& elsewhere = add();
    elsewhere.sm.set_state(TRANSCODE_TRANSCODING);
    EXPECT_FALSE(elsewhere.proc_start_gen_thumbnail());
    QueueItem& busy = add();
    fake_child::run_for(busy);
    EXPECT_FALSE(busy.proc_start_gen_thumbnail());
    QueueItem& without_output = add();
    without_output.output_file.clear();
    EXPECT_FALSE(without_output.proc_start_gen_thumbnail());
    EXPECT_THAT(status_writes, IsEmpty()) << "refused before the check of the source";
    EXPECT_EQ(child.started, 0);
  });
}

TEST_F(by_products, picture_of_a_lost_source_cancels) {
  inside([&] {
    QueueItem& item = add();
    std::filesystem::remove("/mnt/media/clip.mpg");
    item.idle();
    EXPECT_THAT(status_writes, ElementsAre("cancelled: unable to generate thumbanil",
                                           "cancelled: unable to generate thumbanil"));
  });
}

TEST_F(by_products, metadata_of_the_output_are_made_by_the_tool) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add(THUMBNAIL_METADATA_GEN);
    leave_input_open(item);
    item.idle();
    EXPECT_THAT(item.proc_argv, ElementsAre("/usr/bin/qxmi_startitem", "--daemon", "--identify",
                                            "--create-meta", "--file", "/mnt/main/tv/vod/out.mp4"));
    expect_silent(item);
    EXPECT_EQ(status_writes.back(), "thumbnail: Generating metadata for VOD");
  });
}

TEST_F(by_products, metadata_of_the_output_need_an_idle_item) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add(THUMBNAIL_METADATA_GEN);
    fake_child::run_for(item);
    EXPECT_FALSE(item.proc_start_metagen_thumbnail());
    item.proc_pid = -1;
    ASSERT_TRUE(item.open_proc_stdout());
    EXPECT_FALSE(item.proc_start_metagen_thumbnail());
    EXPECT_THAT(status_writes, IsEmpty()) << "refused before the check of the source";
    EXPECT_EQ(child.started, 0);
  });
}

TEST_F(by_products, metadata_of_the_output_of_a_lost_source_cancel) {
  inside([&] {
    QueueItem& item = add(THUMBNAIL_METADATA_GEN);
    std::filesystem::remove("/mnt/media/clip.mpg");
    item.idle();
    EXPECT_THAT(status_writes, ElementsAre("cancelled: unable to generate metadata"));
  });
}

TEST_F(by_products, end_in_cleanup) {
  inside([&] {
    QueueItem& item = add(THUMBNAIL_DONE);
    EXPECT_FALSE(item.idle());
    EXPECT_EQ(item.sm.state, TRANSCODE_CLEANUP);
    EXPECT_EQ(item.sm.cleanup.state, CLEANUP_INIT);
    EXPECT_THAT(status_writes, ElementsAre("cleanup: Cleaning up..."));
    EXPECT_EQ(read_file(std::string(metadir) + "/.vod.metadata"), "file type=video/mpeg\n");
    EXPECT_TRUE(exists(std::string(metadir) + "/.vod.ready"));
    EXPECT_EQ(item.input_meta.entries, nullptr);
  });
}

TEST_F(by_products, source_without_metadata_makes_no_vod) {
  inside([&] {
    QueueItem& item = add(THUMBNAIL_DONE);
    std::filesystem::remove_all("/mnt/media/.clip.mpg.metadata");
    item.idle();
    EXPECT_THAT(status_writes, ElementsAre("cancelled: Failed to mark VOD as done"));
    EXPECT_FALSE(exists(std::string(metadir) + "/.vod.ready"));
  });
}

TEST_F(by_products, failed_fork_cancels) {
  inside([&] {
    const fake_child child;
    kernel.fork = [] { return -1; };
    QueueItem& picture = add();
    picture.idle();
    EXPECT_EQ(picture.state_message, "unable to generate thumbanil");
    QueueItem& metadata = add(THUMBNAIL_METADATA_GEN);
    metadata.idle();
    EXPECT_EQ(metadata.state_message, "unable to generate metadata");
    EXPECT_FALSE(metadata.is_running());
  });
}

// The termination signal arrives between the check for it and the step.
TEST_F(by_products, picture_refused_because_of_a_shutdown_does_not_cancel) {
  inside([&] {
    const fake_child child;
    kernel.fork = [] {
      DIE = 1;
      return -1;
    };
    QueueItem& item = add();
    item.idle();
    EXPECT_EQ(item.sm.state, TRANSCODE_THUMBNAIL);
  });
}

TEST_F(vod_copy, has_every_entry_of_the_source) {
  root_.write_metadata("/mnt/media/clip.mpg",
                       {{"file type", "video/mpeg"}, {"title", "a=b"}, {"empty", ""}});
  inside([&] {
    QueueItem& item = add();
    EXPECT_TRUE(item.vod_copy_from_source());
    EXPECT_EQ(read_file(std::string(metadir) + "/.vod.metadata"),
              "file type=video/mpeg\ntitle=a=b\nempty=\n");
    EXPECT_EQ(item.input_meta.context, nullptr);
    EXPECT_EQ(item.input_meta.entries, nullptr);
  });
}

TEST_F(vod_copy, needs_a_source_with_metadata) {
  inside([&] {
    QueueItem& item = add();
    EXPECT_TRUE(item.set_input_file("/mnt/media/other.mpg"));
    EXPECT_FALSE(item.vod_copy_from_source());
    EXPECT_EQ(item.input_meta.context, nullptr);
    item.input_file.clear();
    EXPECT_FALSE(item.vod_copy_from_source());
  });
}

TEST_F(vod_copy, fails_when_it_cannot_be_written) {
  inside([&] {
    std::filesystem::remove("/mnt/main/tv/vod");
    QueueItem& item = add();
    EXPECT_FALSE(item.vod_copy_from_source());
    EXPECT_EQ(item.input_meta.entries, nullptr);
  });
}

TEST_F(vod_marker, is_an_empty_file) {
  inside([&] {
    std::filesystem::create_directory(metadir);
    write_file(std::string(metadir) + "/.vod.ready", "old");
    EXPECT_TRUE(add().mark_vod_ready());
    EXPECT_EQ(std::filesystem::file_size(std::string(metadir) + "/.vod.ready"), 0U);
  });
}

TEST_F(vod_marker, needs_an_output_and_its_metadata_directory) {
  inside([&] {
    QueueItem& item = add();
    EXPECT_FALSE(item.mark_vod_ready());
    std::filesystem::create_directory(metadir);
    EXPECT_TRUE(item.mark_vod_ready());
    item.output_file.clear();
    EXPECT_FALSE(item.mark_vod_ready());
  });
}
