// Which jobs in the cluster's queue nobody will use any more.
#include <climits>
#include <ctime>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"
#include "tools/qxmi_vod_transcode/spread/left_jobs.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

struct jobs_in_queue : testing::Test {
  jobs_in_queue() {
    fs::create_directory(work);
    fs::permissions(work, fs::perms::owner_all);
  }
  void renew(int seconds_ago) const {
    const unique_fd fd(open(work.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(renew_lease(fd.get()));
    const timespec times[2] = {{0, UTIME_NOW}, {time(nullptr) - seconds_ago, 0}};
    ASSERT_EQ(utimensat(fd.get(), "lease", times, 0), 0);
  }
  static std::vector<std::int64_t> left(const std::string& listing) {
    return left_jobs(listing, "qxvod-own");
  }
  std::string line(const std::string& name = "qxvod-1") const {
    return "7|" + name + "|" + comment_for(work) + "\n";
  }

  qx_test::scratch_folder folder;
  std::string work = folder.file("film \"50 %\" | +a");
};

}  // namespace

TEST_F(jobs_in_queue, are_left_over_once_their_folder_has_gone) {
  fs::remove_all(work);
  EXPECT_THAT(left(line()), ElementsAre(7));
}

TEST_F(jobs_in_queue, are_left_over_once_their_lease_is_old) {
  renew(90);
  EXPECT_THAT(left(line()), ElementsAre(7));
}

TEST_F(jobs_in_queue, are_left_over_once_their_tool_has_removed_the_lease) {
  EXPECT_THAT(left(line()), ElementsAre(7));
}

TEST_F(jobs_in_queue, of_a_tool_that_lives_are_not) {
  renew(20);
  EXPECT_THAT(left(line()), IsEmpty());
}

TEST_F(jobs_in_queue, of_the_caller_are_not) {
  renew(90);
  EXPECT_THAT(left(line("qxvod-own")), IsEmpty());
}

TEST_F(jobs_in_queue, of_others_are_not) {
  fs::remove_all(work);
  EXPECT_THAT(left(line("film")), IsEmpty());
  EXPECT_THAT(left("7|qxvod-1|another-machine:/nowhere\n7|qxvod-1|(null)\n7|qxvod-1|\n"),
              IsEmpty());
}

TEST_F(jobs_in_queue, are_named_once) {
  fs::remove_all(work);
  EXPECT_THAT(left(line() + line()), ElementsAre(7));
}

TEST_F(jobs_in_queue, have_a_comment_of_one_word) {
  EXPECT_THAT(comment_for(work), testing::Not(testing::ContainsRegex("[ \"%|]")));
}
