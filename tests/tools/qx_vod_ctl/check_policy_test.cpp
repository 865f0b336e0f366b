// "check" asks the policy about a source as the service does: with its flags, and refusing by its
// bits alone. The policy's answers are in the test's hands.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tools/qx_vod_ctl/check/admission.h"

namespace {

struct question {
  unsigned flags = ~0U;  // that it was asked with
  unsigned answer = 0;
};

question of_path;
question of_folder;

}  // namespace

extern "C" {
unsigned __wrap__Z25cgi_velmar_forbidden_areaPKcj(const char*, unsigned flags) {
  of_path.flags = flags;
  return of_path.answer;
}
unsigned __wrap__Z28cgi_velmar_forbidden_area_fdij(int, unsigned flags) {
  of_folder.flags = flags;
  return of_folder.answer;
}
}

namespace {

class ctl_check_policy : public ::testing::Test {
protected:
  ctl_check_policy() {
    of_path = {};
    of_folder = {};
    std::ofstream(file_) << "x";
  }
  ~ctl_check_policy() override { std::filesystem::remove_all(folder_); }

  std::string folder_ = mkdtemp(std::string("/tmp/qx.XXXXXX").data());
  std::string file_ = folder_ + "/clip.mpg";
};

}  // namespace

TEST_F(ctl_check_policy, flags_are_those_of_the_service) {
  EXPECT_EQ(judge_source(file_).text, "");
  EXPECT_EQ(of_path.flags, 0U);
  EXPECT_EQ(of_folder.flags, 0x8080U);
}

TEST_F(ctl_check_policy, path_is_forbidden_by_bit_1) {
  of_path.answer = ~1U;
  EXPECT_EQ(judge_source(file_).text, "");
  of_path.answer = 1;
  EXPECT_EQ(judge_source(file_).text, "Rejected: Forbidden input file");
}

TEST_F(ctl_check_policy, folder_is_forbidden_by_bit_0x200) {
  of_folder.answer = ~0x200U;
  EXPECT_EQ(judge_source(file_).text, "");
  of_folder.answer = 0x200;
  EXPECT_EQ(judge_source(file_).text, "Rejected: unable to locate folder");
}
