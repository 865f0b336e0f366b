// Segments on file systems that lack what others have.
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "tests/tools/qxmi_vod_transcode/segment_folder_bench.h"
#include "tools/media/left_parts.h"
#include "tools/qxmi_vod_transcode/segment_store.h"

using namespace qx_test;

namespace {

class plain_file_system : public segment_folder_bench {
protected:
  plain_file_system() {
    plan.packets = 1;
    std::filesystem::create_directory(folder.file("run"));
    run.reset(open(folder.file("run").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }

  // A segment of sound as an engine leaves it.
  bool keep(const std::string& bytes = "abc") { return place(bytes) == segment_placing::placed; }
  segment_placing place(const std::string& bytes) {
    const std::string packet = std::string("\xff\xf1\x4c\x80\x01\x5f\xfc", 7) + bytes;
    std::ofstream(folder.file("run/" + segment_name(segment_kind::sound, 0))) << packet;
    return store.keep(segment_kind::sound, 0, run.get(), {{}, bytes, "-", "-"}, failure);
  }

  segment_plan plan;
  unique_fd run;
  segment_store store{directory.get(), plan};
  encode_failure failure;
};

}  // namespace

TEST_F(plain_file_system, that_cannot_flush_folders_keeps_segments) {
  for (const int error : {EINVAL, ENOTSUP, ENOSYS}) {
    before_sync_of_folder = [error] { return error; };
    EXPECT_TRUE(keep()) << failure.cause;
    EXPECT_TRUE(store.complete(failure)) << failure.cause;
  }
}

TEST_F(plain_file_system, that_fails_to_flush_folders_keeps_none) {
  before_sync_of_folder = [] { return EIO; };
  EXPECT_FALSE(keep());
  EXPECT_FALSE(store.complete(failure));
}

TEST_F(plain_file_system, on_which_nothing_has_an_owner_of_its_own_keeps_segments) {
  before_chown = [] { return EPERM; };
  EXPECT_TRUE(keep()) << failure.cause;
}

// Whoever makes it again has found it unreadable twice.
TEST_F(plain_file_system, that_cannot_read_a_segment_takes_another_one) {
  ASSERT_TRUE(keep("abc")) << failure.cause;
  int opened = 0;
  before_open = [&](const std::string& name) {
    return name == segment_name(segment_kind::sound, 0) && ++opened == 3 ? EIO : 0;
  };
  EXPECT_TRUE(keep("xyz")) << failure.cause;
  EXPECT_EQ(opened, 3);
}

TEST_F(plain_file_system, that_renames_only_over_what_is_there_replaces_no_segment) {
  before_exclusive_rename = [] { return EINVAL; };
  EXPECT_TRUE(keep("abc")) << failure.cause;
  EXPECT_EQ(place("xyz"), segment_placing::was_there) << failure.cause;
  EXPECT_EQ(store.sounds().at(0).run, "abc");
  EXPECT_TRUE(keep("abc")) << failure.cause;
}

TEST_F(plain_file_system, that_knows_no_links_keeps_segments) {
  before_exclusive_rename = [] { return EINVAL; };
  for (const int error : {EPERM, EOPNOTSUPP, ENOSYS}) {
    before_link = [error] { return error; };
    EXPECT_TRUE(keep()) << failure.cause;
  }
}

TEST_F(plain_file_system, that_fails_to_link_keeps_none) {
  before_exclusive_rename = [] { return EINVAL; };
  before_link = [] { return EIO; };
  EXPECT_FALSE(keep());
  EXPECT_EQ(failure.cause, "Input/output error");
}

TEST_F(plain_file_system, that_locks_only_what_can_be_written_is_swept_of_left_results) {
  locks_only_to_write = true;
  std::ofstream(folder.file(std::string(left_part_prefix) + "1")) << "half a result";
  EXPECT_EQ(remove_left_parts(directory.get()).count, 1U);
}
