// A cluster that does not work: the film is made here, as soon as that is known.
#include <csignal>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/media/made_media.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"
#include "tests/tools/qxmi_vod_transcode/cluster_bench.h"
#include "tests/tools/qxmi_vod_transcode/unreadable_file.h"
#include "tools/qxmi_vod_transcode/content_sum.h"

using namespace qx_test;
using testing::HasSubstr;
using testing::Not;

namespace {

namespace fs = std::filesystem;

class cluster_failures : public cluster_bench {
protected:
  void finish_all_tasks() const {
    const unique_fd work = open_work();
    const task_note made = note();
    for (std::size_t task = 0; task < made.ranges.size(); ++task) {
      ASSERT_TRUE(set_task_done(work.get(), made, static_cast<std::int64_t>(task)));
    }
  }
  // A good end, and one line on standard error at most.
  void expect_film() {
    EXPECT_EQ(wait(), 0) << errors();
    EXPECT_TRUE(fs::exists(output));
    EXPECT_LE(lines_of(errors()).size(), 1U) << errors();
  }
  // A recording, whose clock must be read before nodes can begin in the middle.
  void use_recording() {
    source = make_media(media, "film.ts",
                        "-f lavfi -i testsrc2=s=128x72:r=25:d=64 -c:v libx264 -preset ultrafast "
                        "-g 50 -pix_fmt yuv420p");
  }
};

// Of an engine that reads all packets of a source.
const std::string list_of_packets = "packet=stream_index,pts_time";

}  // namespace

TEST_F(cluster_failures, of_a_client_are_noticed_at_once) {
  let("sbatch", "echo 'sbatch: error: invalid partition' >&2; exit 1\n");
  start();
  expect_film();
  EXPECT_THAT(errors(), HasSubstr("since the cluster failed: sbatch: error: invalid partition"));
}

TEST_F(cluster_failures, of_three_submissions_in_a_row_are_enough) {
  let("sbatch", "if [ -e /run/slurm/again ]; then echo 'sbatch: error: no nodes' >&2; exit 1; fi\n"
                ": >/run/slurm/again; echo 7\n");
  start();
  expect_film();
  EXPECT_EQ(calls_with("sbatch "), 4U);
  EXPECT_THAT(errors(), HasSubstr("since the cluster failed: sbatch: error: no nodes"));
}

TEST_F(cluster_failures, are_known_when_all_nodes_refuse) {
  start();
  ASSERT_TRUE(wait_for_call("sbatch "));
  const unique_fd work = open_work();
  write_complaint(work.get(), "n2: another ffmpeg");
  set_refusing(work.get(), "n1");
  set_refusing(work.get(), "n2");
  expect_film();
  EXPECT_THAT(errors(), HasSubstr("the cluster failed: all nodes refuse: n2: another ffmpeg"));
}

TEST_F(cluster_failures, of_tasks_that_it_holds_are_made_good) {
  put("begun", task_lines(7, 0, 1, "PD", "", "launch failed requeued held") +
                   task_lines(7, 1, tasks, "R", "n1", "None"));
  start();
  EXPECT_TRUE(wait_for_call("sbatch --parsable --requeue", 2));
  EXPECT_EQ(calls_with("--array=0 "), 1U);
}

TEST_F(cluster_failures, are_noted_when_the_folder_cannot_be_written_to) {
  start();
  ASSERT_TRUE(wait_for_call("sbatch "));
  fs::remove(in_work("lease"));
  fs::create_directory(in_work("lease"));
  EXPECT_TRUE(wait_until([&] {
    return log().find("cluster: the folder cannot be written to: ") != std::string::npos;
  }));
}

TEST_F(cluster_failures, leave_segments_that_cannot_be_read_to_this_machine) {
  start();
  ASSERT_TRUE(wait_for_call("sbatch "));
  const std::string name = "v000003.mp4";
  write_file(in_work(name), "text");
  write_file(in_work(name + ".sum"), sealed(name + " 4 0123456789abcdef one a b"));
  const unreadable_file held(in_work(name));
  finish_all_tasks();
  expect_film();
}

TEST_F(cluster_failures, do_not_matter_where_the_clock_of_the_source_cannot_be_read) {
  use_recording();
  start();
  pid_t reader = -1;
  ASSERT_TRUE(wait_until([&] {
    for (const pid_t child : children_of(tool)) {
      if (command_line_of(child).find(list_of_packets) != std::string::npos) { reader = child; }
    }
    return reader > 0 || calls_with("sbatch ") > 0;
  }));
  ASSERT_GT(reader, 0) << "the clock was not read, or not seen to be";
  kill(reader, SIGKILL);
  expect_film();
  EXPECT_EQ(calls_with("sbatch "), 0U);
}

TEST_F(cluster_failures, cost_no_reading_of_the_source) {
  use_recording();
  let("squeue", "exit 1\n");
  start();
  expect_film();
  EXPECT_THAT(errors(), HasSubstr("not spread, since the cluster does not answer"));
  // The result's packets are read afterwards.
  EXPECT_GT(log().find(list_of_packets), log().find("-f segment"));
}

TEST_F(cluster_failures, are_no_reason_to_stand_in_a_queue) {
  put("waiting", "12|Resources|film\n3|Priority|another film\n");
  start();
  expect_film();
  EXPECT_EQ(calls_with("sbatch "), 0U);
  EXPECT_THAT(log(), HasSubstr("not spread, since no two tasks could begin at once"));
}
