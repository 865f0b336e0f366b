// Which folders of segments are swept, and which wait for the next try.
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/private_root.h"
#include "tests/support/silent_mount.h"
#include "tests/support/skip.h"
#include "tests/tools/qxmi_vod_transcode/segment_folder_bench.h"
#include "tools/media/left_segments.h"
#include "tools/media/segment_folder.h"

using namespace qx_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

namespace fs = std::filesystem;

// Only a child of the process that joins the private root finds itself in its /proc.
int in_child(const std::function<int()>& action) {
  const pid_t pid = fork();
  if (pid == 0) { _exit(action()); }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 255;
}

class left_segment_folders : public segment_folder_bench {
protected:
  std::size_t abandoned(int keep_days = 7) const {
    return find_left_segments(folder.path(), left_segments::abandoned, keep_days).count;
  }
  std::size_t all() const { return find_left_segments(folder.path(), left_segments::all, 7).count; }
  // Sweeps, and says how many were removed.
  std::size_t swept(left_segments which = left_segments::abandoned) const {
    return remove_left_segments(directory.get(), which, 7).count;
  }
  std::string missing_source() const { return sources.file("gone.mkv"); }
};

}  // namespace

TEST_F(left_segment_folders, of_a_source_that_is_there_wait_for_some_days) {
  const std::string left = left_folder(made_source());
  EXPECT_EQ(all(), 1U);
  EXPECT_EQ(swept(), 0U);
  set_age(left, 8 * day_s);
  EXPECT_EQ(swept(), 1U);
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(left_segment_folders, of_a_missing_source_wait_for_a_day) {
  const std::string left = left_folder(missing_source(), day_s - 60);
  EXPECT_EQ(swept(), 0U);
  set_age(left, day_s + 60);
  EXPECT_EQ(swept(), 1U);
}

TEST_F(left_segment_folders, of_a_changed_source_are_abandoned_at_once) {
  left_folder(made_source());
  EXPECT_EQ(abandoned(), 0U);
  std::ofstream(made_source()) << "another film";
  EXPECT_EQ(abandoned(), 1U);
}

TEST_F(left_segment_folders, remember_the_whole_path_of_the_source) {
  made_source();
  ASSERT_EQ(chdir(sources.path().c_str()), 0);
  left_folder("film.mkv");
  ASSERT_EQ(chdir("/"), 0);
  EXPECT_EQ(abandoned(), 0U);
  std::ofstream(made_source()) << "another film";
  EXPECT_EQ(abandoned(), 1U);
}

TEST_F(left_segment_folders, whose_source_cannot_be_known_are_kept) {
  const std::string left = left_folder(made_source(), 2 * day_s);
  std::ofstream(left + "/source") << "6 1.0\nfilm.mkv";
  set_age(left, 2 * day_s);
  EXPECT_EQ(abandoned(), 0U);
}

TEST_F(left_segment_folders, of_one_run_alone_are_abandoned_when_it_has_ended) {
  const std::string name = std::string(default_name) + "-77";
  const std::string left = left_folder(made_source(), 0, name);
  {
    const unique_fd opened = open_segment_folder(directory.get(), name);
    const unique_fd held = lock_segment_folder(directory.get(), name, opened.get());
    ASSERT_TRUE(held.valid());
    EXPECT_EQ(swept(left_segments::all), 0U);
  }
  EXPECT_EQ(swept(), 1U);
}

TEST_F(left_segment_folders, whose_result_has_its_name_are_abandoned) {
  const std::string left = left_folder(made_source());
  struct stat status = {};
  std::ofstream(folder.file("part")) << "a result";
  ASSERT_EQ(stat(folder.file("part").c_str(), &status), 0);
  std::ofstream(left + "/result") << segment_result_text("out.mp4", status);
  EXPECT_EQ(swept(), 0U);
  fs::rename(folder.file("part"), folder.file("out.mp4"));
  EXPECT_EQ(swept(), 1U);
  EXPECT_THAT(folder.names(), ElementsAre("out.mp4"));
}

TEST_F(left_segment_folders, with_a_fresh_lease_are_left_alone) {
  const std::string left = left_folder(missing_source());
  std::ofstream(left + "/lease");
  set_age(left + "/lease", 30);
  set_age(left, 30 * day_s);
  EXPECT_EQ(all(), 0U);
  EXPECT_EQ(swept(left_segments::all), 0U);
  set_age(left + "/lease", 90);
  EXPECT_EQ(swept(), 1U);
}

TEST_F(left_segment_folders, are_swept_where_there_are_no_locks_only_when_they_are_old) {
  before_lock = [] { return ENOLCK; };
  const std::string left = left_folder(made_source());
  EXPECT_EQ(swept(left_segments::all), 0U);
  set_age(left, 8 * day_s);
  EXPECT_EQ(swept(), 1U);
}

TEST_F(left_segment_folders, with_folders_of_runs_in_them_are_removed_whole) {
  const std::string left = left_folder(made_source());
  for (const std::string run : {"/run", "/run-000003-77"}) {
    fs::create_directory(left + run);
    std::ofstream(left + run + "/v000003.mp4") << "half a segment";
  }
  EXPECT_EQ(swept(left_segments::all), 1U);
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(left_segment_folders, lose_their_lock_last) {
  left_folder(made_source());
  EXPECT_EQ(swept(left_segments::all), 1U);
  ASSERT_THAT(unlinked, SizeIs(4));
  EXPECT_EQ(unlinked[2], "lock");
  EXPECT_EQ(unlinked[3], default_name);
}

TEST_F(left_segment_folders, are_removed_where_open_files_cannot_be) {
  keeps_open_files = true;
  left_folder(made_source());
  EXPECT_EQ(swept(left_segments::all), 1U);
  EXPECT_THAT(folder.names(), IsEmpty());
}

// The other process has opened the lock, and waits for the processor.
TEST_F(left_segment_folders, are_not_taken_by_a_lock_that_was_removed) {
  left_folder(made_source());
  const unique_fd opened = open_segment_folder(directory.get(), default_name);
  before_lock = [&] { return unlinkat(opened.get(), "lock", 0) == 0 ? 0 : errno; };
  EXPECT_FALSE(lock_segment_folder(directory.get(), default_name, opened.get()).valid());
  EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(left_segment_folders, taken_right_before_they_would_be_gone_stay) {
  left_folder(made_source());
  const unique_fd opened = open_segment_folder(directory.get(), default_name);
  unique_fd held;
  after_unlink = [&](const std::string& name) {
    if (name == "lock") { held = lock_segment_folder(directory.get(), default_name, opened.get()); }
  };
  EXPECT_EQ(swept(left_segments::all), 0U);
  EXPECT_TRUE(held.valid());
  EXPECT_TRUE(fs::exists(folder.file(default_name)));
}

TEST_F(left_segment_folders, on_a_share_that_does_not_answer_are_kept_without_waiting) {
  const private_root root;
  const silent_mount mount(root, "/mnt/share");
  if (!mount.is_mounted()) { QX_SKIP_OR_FAIL_IN_CI("FUSE cannot be used"); }
  // Now it is set up, and nothing can end who waits for it.
  ASSERT_EQ(root.run_inside([] { return access("/mnt/share/clip.mpg", F_OK); }), 0);
  mount.fall_silent();
  // Without looking at the source.
  const std::string left = left_folder(missing_source());
  std::ofstream(left + "/source") << "6 1.0\n/mnt/share/clip.mpg";
  set_age(left, 2 * day_s);
  const auto begin = std::chrono::steady_clock::now();
  int ends[2] = {-1, -1};
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const unique_fd read_end(ends[0]);
  unique_fd write_end(ends[1]);
  const int removed = root.run_inside([&] {
    return in_child([&] {
      dup2(write_end.get(), STDOUT_FILENO);
      return static_cast<int>(swept() + swept() + swept());
    });
  });
  EXPECT_EQ(removed, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
  write_end.reset();
  pollfd end = {read_end.get(), POLLIN, 0};
  EXPECT_EQ(poll(&end, 1, 10000), 1) << "a reader of its output waits for the share";
}

TEST_F(left_segment_folders, of_one_source_are_counted_whether_in_use_or_not) {
  const std::string source = made_source();
  const std::string left = left_folder(source);
  std::ofstream(left + "/v000001.mp4") << "another segment";
  left_folder(missing_source(), 0, std::string(default_name) + "-77");
  const unique_fd opened = open_segment_folder(directory.get(), default_name);
  const unique_fd held = lock_segment_folder(directory.get(), default_name, opened.get());
  const left_part_sums found = find_segments_of(source, folder.path());
  EXPECT_EQ(found.count, 2U);
  EXPECT_EQ(found.bytes, bytes_in_segment_folder(opened.get()));
  std::ofstream(source) << "another film";
  EXPECT_EQ(find_segments_of(source, folder.path()).count, 0U);
}
