// A job's status file and the summary beside its output: every line, and places that cannot be
// written.
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/queue/queue_bench.h"

using namespace qx_test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace {

class job_status : public queue_bench {
protected:
  job_status() {
    item.entry_id = "id";
    item.set_input_file(source_file);
    item.transcode_profile = "720";
    item.state_message = "text";
    item.fileops_op = "vod";
    item.progress = 5000;
    item.sm.set_state(TRANSCODE_TRANSCODING);
  }
  // The output's metadata directory, where the summary goes.
  void give_output() {
    item.output_file = "/mnt/main/tv/vod/clip.mp4";
    item.output_metadir = folder_ + "/metadata";
    fs::create_directory(item.output_metadir);
  }
  std::string summary() const { return read_file(item.output_metadir + "/.transcode"); }
  // Writes the status and returns line `number`, counting from 1.
  std::string line(std::size_t number) {
    EXPECT_TRUE(item.fileops_write_status());
    return status_lines(item).at(number - 1);
  }

  QueueItem item;
};

}  // namespace

TEST_F(job_status, all_lines_in_their_order) {
  give_job(item);
  item.output_file = "/mnt/main/tv/vod/clip.mp4";
  EXPECT_TRUE(item.fileops_write_status());
  EXPECT_EQ(read_file(item.fileops_job_dir + "/status"), "op=vod\n"
                                                         "state=text\n"
                                                         "paused=0\n"
                                                         "success=0\n"
                                                         "transfer progress=5000/10000\n"
                                                         "path=/mnt/media\n"
                                                         "file progress=0/1\n"
                                                         "transcode progress=5000/10000\n"
                                                         "transcode state=transcoding\n"
                                                         "now transcoding=clip.mpg\n"
                                                         "now transcoding to=clip.mp4\n"
                                                         "profile=720\n"
                                                         "success=0\n"
                                                         "entry id=id\n");
}

TEST_F(job_status, empty_item_has_thirteen_lines) {
  QueueItem empty;
  empty.entry_id = "id";
  give_job(empty);
  EXPECT_TRUE(empty.fileops_write_status());
  EXPECT_THAT(status_lines(empty),
              ElementsAre("op=", "state=", "paused=0", "success=0", "transfer progress=0/10000",
                          "path=", "file progress=0/1", "transcode progress=0/10000",
                          "transcode state=init", "now transcoding=", "profile=", "success=0",
                          "entry id=id"));
}

TEST_F(job_status, output_without_a_slash_is_left_out) {
  give_job(item);
  item.output_file = "clip.mp4";
  EXPECT_TRUE(item.fileops_write_status());
  EXPECT_THAT(status_lines(item), Not(Contains(StartsWith("now transcoding to="))));
  item.output_file = "/mnt/main/tv/vod/";
  EXPECT_EQ(line(11), "now transcoding to=");
}

TEST_F(job_status, pause_is_shown) {
  give_job(item);
  item.paused = true;
  EXPECT_EQ(line(3), "paused=1");
}

TEST_F(job_status, every_state_has_its_name) {
  give_job(item);
  for (const auto state : all_states) {
    item.sm.state = state;
    EXPECT_EQ(line(9), std::string("transcode state=") + transcode_states__str[state]);
  }
  item.sm.state = static_cast<transcode_states>(10);
  EXPECT_EQ(line(9), "transcode state=");
}

TEST_F(job_status, second_success_follows_the_state) {
  give_job(item);
  for (const auto state : all_states) {
    item.sm.state = state;
    EXPECT_EQ(line(12), state == TRANSCODE_DONE ? "success=1" : "success=0") << state;
    EXPECT_EQ(line(4), "success=0") << state;
  }
}

TEST_F(job_status, first_success_is_the_flag) {
  give_job(item);
  item.success = true;
  EXPECT_EQ(line(4), "success=1");
  EXPECT_EQ(line(12), "success=0");
}

TEST_F(job_status, negative_progress_is_printed_in_two_ways) {
  give_job(item);
  item.progress = -1;
  EXPECT_EQ(line(5), "transfer progress=-1/10000");
  EXPECT_EQ(line(8), "transcode progress=18446744073709551615/10000");
}

TEST_F(job_status, text_ends_at_a_nul) {
  give_job(item);
  item.state_message = std::string("seen\0unseen", 11);
  EXPECT_EQ(line(2), "state=seen");
}

TEST_F(job_status, is_rewritten_in_place) {
  give_job(item);
  item.state_message = std::string(5000, 'x');
  EXPECT_TRUE(item.fileops_write_status());
  const auto inode = inode_of(item.fileops_job_dir + "/status");
  item.state_message = "short";
  EXPECT_EQ(line(2), "state=short");
  EXPECT_EQ(status_lines(item).size(), 13U);
  EXPECT_EQ(inode_of(item.fileops_job_dir + "/status"), inode);
}

TEST_F(job_status, status_is_not_written_without_a_job) {
  give_output();
  EXPECT_FALSE(item.fileops_write_status());
  EXPECT_EQ(summary(), "job id=-1\n"
                       "source file=/mnt/media/clip.mpg\n"
                       "transcode progress=5000/10000\n"
                       "profile=720\n"
                       "job state=text\n");
}

TEST_F(job_status, summary_describes_the_job) {
  give_job(item);
  give_output();
  item.fileops_job_id = 17;
  item.progress = -1;
  EXPECT_TRUE(item.fileops_write_status());
  EXPECT_THAT(summary(), StartsWith("job id=17\n"));
  EXPECT_THAT(summary(), ::testing::HasSubstr("\ntranscode progress=18446744073709551615/10000\n"));
}

TEST_F(job_status, summary_is_rewritten_in_place) {
  give_output();
  item.state_message = std::string(5000, 'x');
  item.fileops_write_status();
  const auto inode = inode_of(item.output_metadir + "/.transcode");
  item.state_message = "short";
  item.fileops_write_status();
  EXPECT_EQ(lines_of(summary()).back(), "job state=short");
  EXPECT_EQ(inode_of(item.output_metadir + "/.transcode"), inode);
}

TEST_F(job_status, missing_metadata_directory_is_ignored) {
  give_job(item);
  item.output_metadir = folder_ + "/missing";
  EXPECT_EQ(stderr_of([this] { EXPECT_TRUE(item.fileops_write_status()); }), "");
  EXPECT_FALSE(exists(item.output_metadir));
}

TEST_F(job_status, missing_job_directory_fails_silently) {
  give_job(item);
  fs::remove(item.fileops_job_dir);
  EXPECT_EQ(stderr_of([this] { EXPECT_FALSE(item.fileops_write_status()); }), "");
  EXPECT_FALSE(exists(item.fileops_job_dir));
  EXPECT_EQ(item.state_message, "text");
}

TEST_F(job_status, fifo_or_directory_in_its_place_fails_without_blocking) {
  give_job(item);
  const auto status = item.fileops_job_dir + "/status";
  ASSERT_EQ(mkfifo(status.c_str(), 0600), 0);
  EXPECT_FALSE(item.fileops_write_status());
  fs::remove(status);
  fs::create_directory(status);
  EXPECT_FALSE(item.fileops_write_status());
}

TEST_F(job_status, link_in_its_place_is_not_followed) {
  give_job(item);
  give_output();
  write_file(folder_ + "/victim", "untouched");
  fs::create_symlink("../victim", item.fileops_job_dir + "/status");
  fs::create_symlink("../victim", item.output_metadir + "/.transcode");
  EXPECT_FALSE(item.fileops_write_status());
  EXPECT_EQ(read_file(folder_ + "/victim"), "untouched");
}

TEST_F(job_status, leaves_no_descriptor_open) {
  give_job(item);
  give_output();
  const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(next);
  item.fileops_write_status();
  const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(after);
  EXPECT_EQ(after, next);
}
