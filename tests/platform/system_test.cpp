// Clocks, processors, directories, files that are read whole or rewritten.
#include <cerrno>
#include <csignal>
#include <ctime>

#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/cpu.h"
#include "platform/directories.h"
#include "platform/formatted.h"
#include "platform/rewrite_file.h"
#include "platform/small_file.h"
#include "tests/platform/test_folder.h"
#include "tests/support/files.h"
#include "tests/support/skip.h"

using qx_test::exists;
using qx_test::read_file;
using qx_test::test_folder;
using qx_test::write_file;

namespace {

mode_t mode_of(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

struct umask_for_test {
  explicit umask_for_test(mode_t mask) : before(umask(mask)) {}
  ~umask_for_test() { umask(before); }
  umask_for_test(const umask_for_test&) = delete;
  umask_for_test& operator=(const umask_for_test&) = delete;
  mode_t before;
};

TEST(clock, monotonic_clock_counts_microseconds) {
  const std::uint64_t begin = monotonic_clock_us();
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto now_us = static_cast<std::uint64_t>(now.tv_sec * 1000000 + now.tv_nsec / 1000);
  EXPECT_LE(begin, now_us);
  EXPECT_LE(now_us, monotonic_clock_us());
}

TEST(clock, wall_clock_counts_microseconds_since_1970) {
  const auto before = static_cast<std::uint64_t>(time(nullptr));
  const std::uint64_t seconds = gettimeofday_us() / 1000000;
  EXPECT_GE(seconds + 1, before);  // the two clocks may differ in resolution
  EXPECT_LE(seconds, static_cast<std::uint64_t>(time(nullptr)) + 1);
}

TEST(cpu, processors_are_those_of_the_affinity_mask) {
  cpu_set_t all;
  ASSERT_EQ(sched_getaffinity(0, sizeof(all), &all), 0);
  EXPECT_EQ(how_many_cpus(), static_cast<std::size_t>(CPU_COUNT(&all)));
}

TEST(cpu, processors_are_counted_when_the_process_starts) {
  cpu_set_t one;
  ASSERT_EQ(sched_getaffinity(0, sizeof(one), &one), 0);
  for (int cpu = 0; CPU_COUNT(&one) > 1; ++cpu) {
    CPU_CLR(cpu, &one);
  }
  ASSERT_EQ(sched_setaffinity(0, sizeof(one), &one), 0);
  init_tarn_utils_cpu();
  EXPECT_EQ(how_many_cpus(), 1U);
}

TEST(mkdir_p, directory_is_made_with_the_mode_less_the_umask) {
  const test_folder folder;
  const umask_for_test mask(007);
  EXPECT_EQ(mkdir_p(folder.file("a").c_str(), 0777, -1), 0);
  EXPECT_EQ(mode_of(folder.file("a")), 0770U);
}

TEST(mkdir_p, missing_parents_can_be_written_by_their_owner_only) {
  const test_folder folder;
  const umask_for_test mask(0);
  EXPECT_EQ(mkdir_p(folder.file("a/b/c/").c_str(), 0777, -1), 0);
  EXPECT_EQ(mode_of(folder.file("a")), 0755U);
  EXPECT_EQ(mode_of(folder.file("a/b")), 0755U);
  EXPECT_EQ(mode_of(folder.file("a/b/c")), 0777U);
}

TEST(mkdir_p, existing_directory_is_left_unchanged) {
  const test_folder folder;
  ASSERT_EQ(mkdir(folder.file("a").c_str(), 0700), 0);
  EXPECT_EQ(mkdir_p(folder.file("a").c_str(), 0777, -1), 0);
  EXPECT_EQ(mode_of(folder.file("a")), 0700U);
}

TEST(mkdir_p, trailing_and_double_slashes_are_accepted) {
  const test_folder folder;
  EXPECT_EQ(mkdir_p(folder.file("a//b/").c_str(), 0755, -1), 0);
  EXPECT_TRUE(exists(folder.file("a/b")));
  EXPECT_EQ(mkdir_p("/", 0755, -1), 0);
}

TEST(mkdir_p, relative_path_is_made_below_the_working_directory) {
  const test_folder folder;
  ASSERT_EQ(chdir(folder.path().c_str()), 0);
  EXPECT_EQ(mkdir_p("x/y", 0755, -1), 0);
  EXPECT_TRUE(exists(folder.file("x/y")));
  ASSERT_EQ(chdir("/"), 0);
}

TEST(mkdir_p, link_to_a_directory_is_accepted) {
  const test_folder folder;
  ASSERT_EQ(mkdir(folder.file("real").c_str(), 0755), 0);
  ASSERT_EQ(symlink("real", folder.file("link").c_str()), 0);
  EXPECT_EQ(mkdir_p(folder.file("link/a").c_str(), 0755, -1), 0);
  EXPECT_TRUE(exists(folder.file("real/a")));
}

TEST(mkdir_p, file_in_the_way_is_reported) {
  const test_folder folder;
  write_file(folder.file("file"), "");
  EXPECT_LT(mkdir_p(folder.file("file").c_str(), 0755, -1), 0);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_LT(mkdir_p(folder.file("file/a").c_str(), 0755, -1), 0);
  EXPECT_EQ(errno, ENOTDIR);
}

TEST(mkdir_p, empty_path_is_reported) {
  EXPECT_LT(mkdir_p("", 0755, -1), 0);
  EXPECT_EQ(errno, ENOENT);
}

TEST(mkdir_p, owner_is_set_on_new_directories_only) {
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("only root gives files away"); }
  const test_folder folder;
  constexpr int somebody = 12345;
  EXPECT_EQ(mkdir_p(folder.file("a/b").c_str(), 0755, somebody), 0);
  struct stat status {};
  ASSERT_EQ(stat(folder.file("a").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, static_cast<uid_t>(somebody));
  ASSERT_EQ(stat(folder.path().c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 0U);
}

struct small_file : testing::Test {
  test_folder folder;
  std::string text;
  bool read(const char* name, std::size_t limit = 100) {
    return read_small_file(AT_FDCWD, folder.file(name).c_str(), limit, text);
  }
};

TEST_F(small_file, whole_file_is_read) {
  const std::string content = std::string(20000, 'x') + '\0' + "end";
  write_file(folder.file("a"), content);
  EXPECT_TRUE(read("a", content.size()));
  EXPECT_EQ(text, content);
}

TEST_F(small_file, file_over_the_limit_is_refused) {
  write_file(folder.file("a"), std::string(101, 'x'));
  EXPECT_FALSE(read("a"));
  EXPECT_EQ(errno, EFBIG);
}

TEST_F(small_file, missing_file_is_reported) {
  EXPECT_FALSE(read("a"));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(small_file, link_is_not_followed) {
  write_file(folder.file("a"), "secret");
  ASSERT_EQ(symlink("a", folder.file("link").c_str()), 0);
  EXPECT_FALSE(read("link"));
  EXPECT_EQ(errno, ELOOP);
}

TEST_F(small_file, fifo_is_refused_and_not_waited_for) {
  ASSERT_EQ(mkfifo(folder.file("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(read("fifo"));
  EXPECT_EQ(errno, EINVAL);
}

TEST(rewrite_file, file_is_created_or_truncated) {
  const test_folder folder;
  write_file(folder.file("a"), "old and long");
  for (const char* name : {"a", "b"}) {
    EXPECT_TRUE(rewrite_file(folder.file(name), "new"));
    EXPECT_EQ(read_file(folder.file(name)), "new");
  }
}

TEST(rewrite_file, file_takes_a_longer_text_or_an_empty_one) {
  const test_folder folder;
  write_file(folder.file("a"), "old");
  for (const std::string& text : {std::string(10000, 'n'), std::string()}) {
    EXPECT_TRUE(rewrite_file(folder.file("a"), text));
    EXPECT_EQ(read_file(folder.file("a")), text);
  }
}

TEST(rewrite_file, file_is_the_same_one_afterwards) {
  const test_folder folder;
  write_file(folder.file("a"), "old");
  struct stat before {};
  struct stat after {};
  ASSERT_EQ(stat(folder.file("a").c_str(), &before), 0);
  EXPECT_TRUE(rewrite_file(folder.file("a"), "new"));
  ASSERT_EQ(stat(folder.file("a").c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);
}

// Visible when the text cannot be written.
TEST(rewrite_file, file_is_not_emptied_before_the_text_is_written) {
  const test_folder folder;
  write_file(folder.file("a"), "old and long");
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit nothing{0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &nothing), 0);
  EXPECT_TRUE(rewrite_file(folder.file("a"), "new"));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(read_file(folder.file("a")), "old");
}

TEST(rewrite_file, link_is_not_followed) {
  const test_folder folder;
  write_file(folder.file("victim"), "kept");
  ASSERT_EQ(symlink("victim", folder.file("link").c_str()), 0);
  EXPECT_FALSE(rewrite_file(folder.file("link"), "new"));
  EXPECT_EQ(read_file(folder.file("victim")), "kept");
}

TEST(rewrite_file, fifo_is_refused_and_not_waited_for) {
  const test_folder folder;
  ASSERT_EQ(mkfifo(folder.file("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(rewrite_file(folder.file("fifo"), "new"));
  const int reader = open(folder.file("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_FALSE(rewrite_file(folder.file("fifo"), "new"));
  EXPECT_EQ(errno, EINVAL);
  close(reader);
}

}  // namespace

TEST(formatted, text_is_what_printf_prints) {
  EXPECT_EQ(formatted("%s=%d/%lu\n", "progress", -1, 10000UL), "progress=-1/10000\n");
  EXPECT_EQ(formatted("nothing"), "nothing");
  EXPECT_EQ(formatted("%s", ""), "");
}

TEST(formatted, text_may_be_of_any_length) {
  const std::string large(100000, 'x');
  EXPECT_EQ(formatted("<%s>", large.c_str()), "<" + large + ">");
}
