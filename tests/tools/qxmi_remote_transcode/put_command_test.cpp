// The FTP client's command line and the names it is trusted with.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/qxmi_remote_transcode/put_command.h"

using testing::Contains;
using testing::Not;

namespace {

struct stat file_of(off_t size, time_t modified) {
  struct stat status = {};
  status.st_size = size;
  status.st_mtim.tv_sec = modified;
  return status;
}

}  // namespace

TEST(upload_name, may_be_a_uuid) {
  EXPECT_TRUE(is_upload_name("0f8fad5b-d9cb-469f-a165-70867728950e"));
  EXPECT_TRUE(is_upload_name("a"));
  EXPECT_TRUE(is_upload_name(std::string(128, 'a')));
}

TEST(upload_name, is_accepted_only_without_a_path) {
  for (const char* name :
       {"", ".", "..", "../a", "a/b", "/a", ".a", "-a", "a b", "a*", "a%", "a\n", "\xc3\xa4"}) {
    EXPECT_FALSE(is_upload_name(name)) << name;
  }
  EXPECT_FALSE(is_upload_name(std::string(129, 'a')));
}

TEST(part_suffix, distinguishes_the_states_of_a_source) {
  EXPECT_EQ(part_suffix(file_of(255, 16)), ".ff-10-0.part");
  EXPECT_NE(part_suffix(file_of(255, 16)), part_suffix(file_of(256, 16)));
  EXPECT_NE(part_suffix(file_of(255, 16)), part_suffix(file_of(255, 17)));
}

TEST(put_command, resumes_or_restarts) {
  const auto resume = put_command("/login", "/link", ".part", put_mode::resume);
  EXPECT_THAT(resume, Contains("-z"));
  EXPECT_THAT(resume, Not(Contains("-Z")));
  const auto restart = put_command("/login", "/link", ".part", put_mode::restart);
  EXPECT_THAT(restart, Contains("-Z"));
  EXPECT_THAT(restart, Not(Contains("-z")));
}

TEST(put_command, never_lets_the_client_use_sendfile) {
  EXPECT_THAT(put_command("/login", "/link", ".part", put_mode::resume), Contains("-s"));
}
