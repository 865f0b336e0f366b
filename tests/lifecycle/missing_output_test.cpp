// Jobs with known profiles but no output: nothing may wait for something that cannot happen.
#include <filesystem>

#include "tests/exec/exec_bench.h"

using namespace qx_test;

namespace {

class missing_output : public private_exec_bench {
protected:
  missing_output() {
    root_.write_source("/mnt/media/clip.mpg");
    std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
  }
  QueueItem& add_waiting(const std::string& profile) {
    QueueItem& item = add_source_item(TRANSCODE_READY);
    item.sm.ready.set_state(READY_READY_TO_TRANSCODE);
    item.transcode_profile = profile;
    item.quoted_profile = {profile};
    EXPECT_TRUE(item.init_fileops_job());
    status_writes.clear();
    return item;
  }
};

}  // namespace

TEST_F(missing_output, without_a_possible_name_rejects_the_job) {
  inside([&] {
    for (const auto& profile : {std::string("a/b"), std::string(4096, 'p')}) {
      QueueItem& item = add_waiting(profile);
      EXPECT_FALSE(item.idle());
      EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
      EXPECT_EQ(item.state_message, "Rejected: output file is invalid");
      EXPECT_EQ(status_writes.back(), "cancelled: Rejected: output file is invalid");
    }
  });
}

TEST_F(missing_output, with_a_possible_name_is_set) {
  inside([&] {
    QueueItem& item = add_waiting("720");
    EXPECT_FALSE(item.idle());
    EXPECT_EQ(item.sm.ready.state, READY_READY_TO_TRANSCODE);
    EXPECT_EQ(item.output_file, "/mnt/main/tv/vod/1000000000.vod.720.clip.mpg.mp4");
  });
}

TEST_F(missing_output, of_a_missing_source_reports_the_source) {
  inside([&] {
    QueueItem& item = add_waiting("720");
    std::filesystem::remove("/mnt/media/clip.mpg");
    EXPECT_FALSE(item.idle());
    EXPECT_EQ(item.state_message, "Rejected: file not accessible, No such file or directory");
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  });
}

TEST_F(missing_output, is_not_checked_if_one_is_set) {
  inside([&] {
    QueueItem& item = add_waiting("720");
    EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod/out.mp4"));
    std::filesystem::remove("/mnt/media/clip.mpg");
    EXPECT_FALSE(item.idle());
    EXPECT_EQ(item.sm.ready.state, READY_READY_TO_TRANSCODE);
  });
}
