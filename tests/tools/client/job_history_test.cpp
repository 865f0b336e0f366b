// The measured speeds of earlier jobs, and the file that keeps them.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/skip.h"
#include "tools/client/job_history.h"

using ::testing::DoubleNear;
using ::testing::Optional;

namespace {

constexpr std::int64_t start = 1700000000;

class job_history_file : public ::testing::Test {
protected:
  job_history_file() {
    char name[] = "/tmp/qx_history.XXXXXX";
    folder_ = mkdtemp(name);
    path_ = folder_ + "/history";
  }
  ~job_history_file() override { std::filesystem::remove_all(folder_); }

  void write(const std::string& text) { std::ofstream(path_) << text; }

  std::string folder_;
  std::string path_;
};

}  // namespace

TEST_F(job_history_file, is_not_written_to_the_folder_of_another_user) {
  const job_history history;
  EXPECT_TRUE(history.save(path_));
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("only root can give a folder away"); }
  ASSERT_EQ(chown(folder_.c_str(), 65534, 65534), 0);
  EXPECT_FALSE(history.save(path_));
}

TEST(job_history, has_no_rate_before_a_second_look) {
  job_history history;
  history.note("a", "720", 1000, 100.0, start);
  EXPECT_EQ(history.rate("a"), std::nullopt);
  EXPECT_EQ(history.speed("720"), std::nullopt);
}

TEST(job_history, learns_the_rate_of_a_job_and_the_speed_of_its_profile) {
  job_history history;
  history.note("a", "720", 1000, 100.0, start);
  history.note("a", "720", 3000, 100.0, start + 10);
  EXPECT_THAT(history.rate("a"), Optional(DoubleNear(0.02, 1e-9)));
  EXPECT_THAT(history.speed("720"), Optional(DoubleNear(2.0, 1e-9)));
}

TEST(job_history, ignores_a_second_look_that_comes_too_soon) {
  job_history history;
  history.note("a", "720", 1000, 100.0, start);
  history.note("a", "720", 3000, 100.0, start + 1);
  EXPECT_EQ(history.rate("a"), std::nullopt);
}

TEST(job_history, starts_over_when_a_job_was_restarted) {
  job_history history;
  history.note("a", "720", 5000, 100.0, start);
  history.note("a", "720", 100, 100.0, start + 10);
  EXPECT_EQ(history.rate("a"), std::nullopt);
}

TEST(job_history, starts_over_after_a_long_absence) {
  job_history history;
  history.note("a", "720", 1000, 100.0, start);
  history.note("a", "720", 9000, 100.0, start + 86400);
  EXPECT_EQ(history.rate("a"), std::nullopt);
}

TEST(job_history, does_not_take_a_resumed_job_for_a_fast_one) {
  job_history history;
  history.note("a", "720", 0, 100.0, start);
  history.note("a", "720", 6300, 100.0, start + 10);
  EXPECT_EQ(history.rate("a"), std::nullopt);
  history.note("a", "720", 6500, 100.0, start + 20);
  EXPECT_THAT(history.rate("a"), Optional(DoubleNear(0.002, 1e-9)));
}

TEST(job_history, forgets_the_rate_of_a_job_but_not_the_speed) {
  job_history history;
  history.note("a", "720", 1000, 100.0, start);
  history.note("a", "720", 3000, 100.0, start + 10);
  history.forget("a");
  EXPECT_EQ(history.rate("a"), std::nullopt);
  EXPECT_TRUE(history.speed("720"));
}

TEST_F(job_history_file, brings_back_what_was_saved) {
  job_history before;
  before.note("a", "720", 1000, 100.0, start);
  before.note("a", "720", 3000, 100.0, start + 10);
  ASSERT_TRUE(before.save(path_));
  job_history after;
  after.load(path_);
  EXPECT_THAT(after.rate("a"), Optional(DoubleNear(0.02, 1e-9)));
  EXPECT_THAT(after.speed("720"), Optional(DoubleNear(2.0, 1e-6)));
}

TEST_F(job_history_file, ignores_malformed_lines) {
  write("speed nan 720\nspeed -3 480\nspeed\nrunning a b c d e\n\xff\xfe\n" +
        std::string(5000, 'x') + "\nspeed 2.5 360\n");
  job_history history;
  history.load(path_);
  EXPECT_EQ(history.speed("720"), std::nullopt);
  EXPECT_EQ(history.speed("480"), std::nullopt);
  EXPECT_EQ(history.rate("a"), std::nullopt);
  EXPECT_THAT(history.speed("360"), Optional(2.5));
}

TEST_F(job_history_file, that_is_a_folder_is_ignored) {
  std::filesystem::create_directory(path_);
  job_history history;
  history.load(path_);
  EXPECT_FALSE(history.save(path_));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_), {}), 1);
}

TEST_F(job_history_file, lies_in_the_user_s_cache_folder) {
  setenv("XDG_CACHE_HOME", (folder_ + "/cache").c_str(), 1);
  EXPECT_EQ(find_history("/nonexistent").path, folder_ + "/cache/qx_vod_ctl/history");
  EXPECT_TRUE(std::filesystem::is_directory(folder_ + "/cache/qx_vod_ctl"));
}

TEST_F(job_history_file, is_shared_where_the_service_has_made_a_folder_for_it) {
  setenv("XDG_CACHE_HOME", (folder_ + "/cache").c_str(), 1);
  const history_place place = find_history(folder_);
  EXPECT_EQ(place.path, folder_ + "/history");
  EXPECT_TRUE(place.is_shared);
  EXPECT_FALSE(std::filesystem::exists(folder_ + "/cache"));
}

TEST_F(job_history_file, can_be_read_by_everybody_who_may_enter_its_folder) {
  ASSERT_TRUE(job_history().save(folder_ + "/history"));
  EXPECT_EQ(std::filesystem::status(folder_ + "/history").permissions(),
            static_cast<std::filesystem::perms>(0644));
}

TEST(job_history_path, is_empty_without_a_home) {
  unsetenv("XDG_CACHE_HOME");
  unsetenv("HOME");
  EXPECT_EQ(find_history("/nonexistent").path, "");
}
