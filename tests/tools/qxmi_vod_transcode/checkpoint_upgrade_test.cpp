// Finished segments of another encoder.
#include <csignal>
#include <filesystem>
#include <string>

#include <glob.h>
#include <sched.h>
#include <sys/mount.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/skip.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"

using namespace qx_test;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

std::string encoder_library() {
  glob_t found = {};
  const bool is_there = glob("/usr/lib/*/libx264.so.*", 0, nullptr, &found) == 0;
  std::string path = is_there ? found.gl_pathv[0] : "";
  globfree(&found);
  return path;
}

class checkpoint_upgrade : public checkpoint_bench {
protected:
  // The same library with another time of change, for this process and its children.
  bool replace(const std::string& library) const {
    const std::string other = settings.file("library");
    fs::copy_file(library, other);
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(other.c_str(), library.c_str(), nullptr, MS_BIND, nullptr) == 0;
  }
};

}  // namespace

TEST_F(checkpoint_upgrade, of_the_encoder_mixes_no_segments) {
  const std::string library = encoder_library();
  ASSERT_FALSE(library.empty());
  interrupt_after(2, SIGKILL);
  const std::string left = segment_folder();
  if (!replace(library)) { QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges"); }
  const tool_result result = resume();
  EXPECT_EQ(result.end.status, 0);
  EXPECT_THAT(result.errors, IsEmpty()) << "resumed";
  EXPECT_LE(first_frame(result), 50);
  EXPECT_TRUE(fs::exists(left + "/v000001.mp4"));
  fs::remove_all(left);
  expect_whole(result);
}
