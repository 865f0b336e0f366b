// The folder of one transcode: whose it is, and when it goes.
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/tools/qxmi_vod_transcode/segment_folder_bench.h"
#include "tools/media/left_segments.h"
#include "tools/media/segment_folder.h"
#include "tools/qxmi_vod_transcode/random_word.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"
#include "tools/qxmi_vod_transcode/work_folder.h"

using namespace qx_test;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

namespace fs = std::filesystem;

class transcode_folder : public segment_folder_bench {
protected:
  bool open(work_folder& one) {
    return one.open(folder.file("out.mp4"), "a key", "6 1.0\n/films/film.mkv", error);
  }
  void leave_segment() {
    work_folder first;
    ASSERT_TRUE(open(first)) << error;
    std::ofstream(path() + "/v000000.mp4") << "a segment";
  }
  // In the place of a file of that folder.
  void leave_link(const std::string& name) {
    leave_segment();
    fs::remove(path() + "/" + name);
    fs::create_symlink("v000000.mp4", path() + "/" + name);
  }
  // The only folder that there is.
  std::string path() const {
    const auto names = folder.names();
    return names.size() == 1 ? folder.file(names[0]) : "";
  }
  bool is_private() const { return is_private_segment_folder(fs::path(path()).filename()); }

  std::string error;
};

ino_t inode_of(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace

TEST_F(transcode_folder, of_the_same_key_is_found_again) {
  leave_segment();
  work_folder second;
  ASSERT_TRUE(open(second)) << error;
  EXPECT_TRUE(fs::exists(path() + "/v000000.mp4"));
  EXPECT_FALSE(is_private());
}

TEST_F(transcode_folder, whose_key_cannot_be_read_for_a_moment_is_found_again) {
  leave_segment();
  before_open = [](const std::string& name) { return name == "key" ? EIO : 0; };
  {
    work_folder second;
    EXPECT_FALSE(open(second));
    EXPECT_TRUE(second.is_unreadable());
    EXPECT_THAT(error, HasSubstr("Input/output error"));
  }
  before_open = nullptr;
  work_folder third;
  ASSERT_TRUE(open(third)) << error;
  EXPECT_TRUE(fs::exists(path() + "/v000000.mp4"));
}

TEST_F(transcode_folder, whose_key_cannot_be_read_twice_is_begun_again) {
  leave_segment();
  bool is_broken = true;
  before_open = [&is_broken](const std::string& name) {
    return name == "key" && is_broken ? EIO : 0;
  };
  {
    work_folder second;
    EXPECT_FALSE(open(second));
  }
  // What is written in its place can be read.
  after_unlink = [&is_broken](const std::string& name) { is_broken = is_broken && name != "key"; };
  work_folder third;
  ASSERT_TRUE(open(third)) << error;
  EXPECT_FALSE(third.is_unreadable());
  EXPECT_FALSE(fs::exists(path() + "/v000000.mp4"));
}

TEST_F(transcode_folder, with_a_link_as_its_key_is_begun_again) {
  leave_link("key");
  work_folder second;
  ASSERT_TRUE(open(second)) << error;
  EXPECT_FALSE(fs::exists(path() + "/v000000.mp4"));
}

TEST_F(transcode_folder, with_a_folder_as_its_lock_is_found_again) {
  leave_segment();
  fs::remove(path() + "/lock");
  fs::create_directory(path() + "/lock");
  std::ofstream(path() + "/lock/inside") << "anything";
  work_folder second;
  ASSERT_TRUE(open(second)) << error;
  EXPECT_TRUE(fs::exists(path() + "/v000000.mp4"));
  EXPECT_TRUE(fs::is_regular_file(path() + "/lock"));
}

TEST_F(transcode_folder, with_a_link_as_its_lock_is_found_again) {
  leave_link("lock");
  work_folder second;
  ASSERT_TRUE(open(second)) << error;
  EXPECT_TRUE(fs::exists(path() + "/v000000.mp4"));
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(path() + "/lock")));
}

TEST_F(transcode_folder, loses_what_is_no_file_where_files_belong) {
  leave_segment();
  fs::create_directory(path() + "/v000001.mp4");
  std::ofstream(path() + "/v000001.mp4/inside") << "anything";
  fs::create_symlink("v000000.mp4", path() + "/complete");
  work_folder second;
  ASSERT_TRUE(open(second)) << error;
  EXPECT_TRUE(fs::exists(path() + "/v000000.mp4"));
  EXPECT_FALSE(fs::exists(path() + "/v000001.mp4"));
  EXPECT_FALSE(fs::is_symlink(path() + "/complete"));
}

// It can be locked like a file.
TEST_F(transcode_folder, keeps_a_pipe_as_its_lock) {
  leave_segment();
  fs::remove(path() + "/lock");
  ASSERT_EQ(mkfifo((path() + "/lock").c_str(), S_IRUSR | S_IWUSR), 0);
  work_folder second;
  ASSERT_TRUE(open(second)) << error;
  EXPECT_TRUE(fs::is_fifo(path() + "/lock"));
}

// Two find the false lock at once, and the other is faster.
TEST_F(transcode_folder, loses_no_lock_that_another_has_just_made) {
  leave_link("lock");
  const std::string lock = path() + "/lock";
  before_lock = [&] {
    if (fs::is_symlink(lock)) {
      fs::remove(lock);
      std::ofstream(lock) << "of the other";
    }
    return 0;
  };
  work_folder second;
  ASSERT_TRUE(open(second)) << error;
  EXPECT_EQ(read_file(lock), "of the other");
}

TEST_F(transcode_folder, in_use_survives_a_start_that_fails) {
  work_folder running;
  ASSERT_TRUE(open(running)) << error;
  const std::string used = path();
  before_mkdir = [](const std::string& name) {
    return is_private_segment_folder(name) ? ENOSPC : 0;
  };
  {
    work_folder second;
    EXPECT_FALSE(open(second));
    EXPECT_THAT(error, HasSubstr("No space left"));
    second.remove();
  }
  EXPECT_TRUE(fs::exists(used + "/key"));
  EXPECT_EQ(find_left_segments(folder.path(), left_segments::all, 7).count, 0U);
}

TEST_F(transcode_folder, that_becomes_free_soon_is_waited_for) {
  std::optional<work_folder> ending(std::in_place);
  ASSERT_TRUE(open(*ending)) << error;
  int attempts = 0;
  before_lock = [&] {
    if (++attempts == 3) { ending.reset(); }
    return 0;
  };
  work_folder next;
  ASSERT_TRUE(open(next)) << error;
  EXPECT_THAT(folder.names(), SizeIs(1));
  EXPECT_FALSE(is_private());
}

TEST_F(transcode_folder, in_use_for_longer_leads_to_a_private_one_that_does_not_stay) {
  work_folder running;
  ASSERT_TRUE(open(running)) << error;
  {
    work_folder second;
    ASSERT_TRUE(open(second)) << error;
    EXPECT_THAT(folder.names(), SizeIs(2));
  }
  EXPECT_FALSE(path().empty());
  EXPECT_TRUE(fs::exists(path() + "/key"));
}

TEST_F(transcode_folder, is_private_where_there_are_no_locks) {
  before_lock = [] { return ENOLCK; };
  {
    work_folder only;
    ASSERT_TRUE(open(only)) << error;
    EXPECT_TRUE(is_private());
  }
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(transcode_folder, that_others_can_enter_whatever_its_mode_is_refused_and_does_not_stay) {
  added_mode = 0077;
  work_folder one;
  EXPECT_FALSE(open(one));
  EXPECT_THAT(error, HasSubstr("Permission denied"));
  EXPECT_THAT(folder.names(), IsEmpty());
}

// In the process that looks, as the account of engines where there is one.
TEST_F(transcode_folder, whose_files_engines_cannot_read_is_refused) {
  const pid_t self = getpid();
  before_open = [self](const std::string& name) {
    return getpid() != self && name == "key" ? EACCES : 0;
  };
  work_folder one;
  EXPECT_FALSE(open(one));
  EXPECT_THAT(error, HasSubstr("Permission denied"));
}

TEST_F(transcode_folder, goes_where_open_files_cannot_be_removed) {
  keeps_open_files = true;
  work_folder one;
  ASSERT_TRUE(open(one)) << error;
  one.remove();
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(transcode_folder, is_on_the_disk_when_it_is_used) {
  work_folder one;
  ASSERT_TRUE(open(one)) << error;
  EXPECT_EQ(synced.count(inode_of(folder.path())), 1U);
}

TEST_F(transcode_folder, has_a_folder_for_each_run_as_long_as_it_lasts) {
  work_folder one;
  ASSERT_TRUE(open(one)) << error;
  const std::string first_path = path() + "/" + run_folder_name("v000000.mp4");
  const std::string second_path = path() + "/" + run_folder_name("v000012.mp4");
  {
    const run_folder first(one.fd(), run_folder_name("v000000.mp4"));
    const run_folder second(one.fd(), run_folder_name("v000012.mp4"));
    ASSERT_TRUE(first.valid() && second.valid());
    EXPECT_TRUE(fs::is_directory(first_path));
    EXPECT_TRUE(fs::is_directory(second_path));
    std::ofstream(second_path + "/v000012.mp4") << "half a segment";
  }
  EXPECT_FALSE(fs::exists(first_path));
  EXPECT_FALSE(fs::exists(second_path));
}

// Two machines may have the same name, and a process on each the same number.
TEST_F(transcode_folder, names_the_folders_of_its_runs_as_no_other_process_does) {
  EXPECT_THAT(run_folder_name("v000000.mp4"), testing::EndsWith("-" + process_word()));
  EXPECT_EQ(process_word(), process_word());
  EXPECT_NE(random_word(), random_word());
}

TEST_F(transcode_folder, keeps_the_folders_of_runs_on_other_machines) {
  std::string alive;
  {
    work_folder killed;
    ASSERT_TRUE(open(killed)) << error;
    ASSERT_TRUE(renew_lease(killed.fd()));
    alive = path() + "/run-000003-77";
    fs::create_directory(alive);
  }
  work_folder next;
  ASSERT_TRUE(open(next)) << error;
  EXPECT_TRUE(fs::exists(alive));
}

TEST_F(transcode_folder, loses_the_folders_of_dead_runs) {
  std::string dead;
  {
    work_folder killed;
    ASSERT_TRUE(open(killed)) << error;
    dead = path() + "/run-000003-77";
    fs::create_directory(dead);
    std::ofstream(dead + "/v000003.mp4") << "half a segment";
  }
  work_folder next;
  ASSERT_TRUE(open(next)) << error;
  EXPECT_FALSE(fs::exists(dead));
}

TEST_F(transcode_folder, of_a_result_that_has_its_name_is_swept) {
  {
    work_folder killed;
    ASSERT_TRUE(open(killed)) << error;
    std::ofstream(folder.file("part")) << "a result";
    const unique_fd result(::open(folder.file("part").c_str(), O_RDONLY | O_CLOEXEC));
    killed.note_result(result.get());
  }
  EXPECT_EQ(remove_left_segments(folder.path(), left_segments::abandoned, 7).count, 0U);
  fs::rename(folder.file("part"), folder.file("out.mp4"));
  EXPECT_EQ(remove_left_segments(folder.path(), left_segments::abandoned, 7).count, 1U);
}
