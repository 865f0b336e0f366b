// Several machines make the same segment: the first one that is there stays, with its own record.
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <fcntl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/checkpoint/segment_files.h"
#include "tests/support/media/tool_run.h"
#include "tests/tools/qxmi_vod_transcode/segment_bytes.h"
#include "tools/qxmi_vod_transcode/segment_store.h"

namespace {

namespace fs = std::filesystem;
using namespace qx_test;
using testing::ElementsAre;
using testing::SizeIs;

// What one machine does in the folder that all share.
class machine {
public:
  machine(const std::string& folder, const segment_plan& plan)
      : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
        made_(open(own_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
        store(folder_.get(), plan) {}

  // The first segment of pictures, as this machine makes it.
  segment_placing keep(const std::string& run, const std::string& bytes) {
    std::ofstream(own_.file("v000000.mp4"), std::ios::binary) << bytes;
    return store.keep(segment_kind::picture, 0, made_.get(), {{}, run, "a", "b", false}, failure);
  }

private:
  scratch_folder own_;
  unique_fd folder_;
  unique_fd made_;

public:
  segment_store store;
  encode_failure failure;
};

struct two_machines : testing::Test {
  two_machines() { plan.frames = 50; }

  // The run that made the segment as a third machine finds it; empty without a whole one.
  std::string found() const {
    const unique_fd shared(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    kept_segment kept;
    const segment_state state = load_segment(shared.get(), segment_kind::picture, 0, kept);
    return state == segment_state::good ? kept.run : std::string();
  }

  scratch_folder folder;
  segment_plan plan;
  machine one{folder.path(), plan};
  machine other{folder.path(), plan};
  const std::string bytes = film(50, "of one run");
  const std::string other_bytes = film(50, "of another");
};

}  // namespace

TEST_F(two_machines, keep_the_segment_that_is_there_first) {
  ASSERT_EQ(one.keep("one", bytes), segment_placing::placed) << one.failure.cause;
  EXPECT_EQ(other.keep("other", other_bytes), segment_placing::was_there) << other.failure.cause;
  EXPECT_EQ(found(), "one");
  EXPECT_EQ(other.store.pictures().at(0).run, "one");
}

TEST_F(two_machines, leave_one_record) {
  ASSERT_EQ(one.keep("one", bytes), segment_placing::placed) << one.failure.cause;
  ASSERT_EQ(other.keep("other", other_bytes), segment_placing::was_there) << other.failure.cause;
  EXPECT_THAT(folder.names(), SizeIs(2));
}

// Both have written their records, and neither its segment.
TEST_F(two_machines, do_not_mix_up_their_records) {
  segment_placing of_other = segment_placing::failed;
  int asked = 0;
  one.store.set_fence([&] {
    if (++asked == 2) { of_other = other.keep("other", other_bytes); }
    return true;
  });
  EXPECT_EQ(one.keep("one", bytes), segment_placing::was_there);
  EXPECT_EQ(of_other, segment_placing::placed);
  EXPECT_EQ(found(), "other");
}

TEST_F(two_machines, that_make_the_same_bytes_leave_a_whole_segment) {
  ASSERT_EQ(one.keep("one", bytes), segment_placing::placed) << one.failure.cause;
  EXPECT_NE(other.keep("other", bytes), segment_placing::failed) << other.failure.cause;
  EXPECT_NE(found(), "");
}

TEST_F(two_machines, replace_a_damaged_segment) {
  ASSERT_EQ(one.keep("one", bytes), segment_placing::placed) << one.failure.cause;
  std::ofstream(folder.file("v000000.mp4"), std::ios::app) << "more";
  EXPECT_EQ(other.keep("other", other_bytes), segment_placing::placed) << other.failure.cause;
  EXPECT_EQ(found(), "other");
}

TEST_F(two_machines, put_nothing_in_its_place_that_nobody_wants) {
  one.store.set_fence([] { return false; });
  EXPECT_EQ(one.keep("one", bytes), segment_placing::failed);
  EXPECT_EQ(one.failure.cause, "nobody waits for the segment any longer");
  EXPECT_TRUE(one.failure.interrupted);
  EXPECT_THAT(folder.names(), SizeIs(0));
}

// While a slow disk takes the record.
TEST_F(two_machines, put_nothing_in_its_place_that_nobody_wants_any_longer) {
  int asked = 0;
  one.store.set_fence([&] { return ++asked == 1; });
  EXPECT_EQ(one.keep("one", bytes), segment_placing::failed);
  EXPECT_FALSE(fs::exists(folder.file("v000000.mp4")));
  EXPECT_EQ(asked, 2);
}
