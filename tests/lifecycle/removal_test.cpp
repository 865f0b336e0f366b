// Removing a finished job's source: its metadata by a tool, the file by a child without a tool.
#include <filesystem>
#include <initializer_list>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "platform/unique_fd.h"
#include "tests/exec/exec_bench.h"
#include "tests/support/skip.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::ElementsAre;

namespace {

class removal : public private_exec_bench {
protected:
  removal() {
    root_.write_source("/mnt/media/clip.mpg", "video/mpeg");
    std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
  }

  QueueItem& add(cleanup_states state) {
    QueueItem& item = add_source_item(TRANSCODE_CLEANUP);
    item.sm.cleanup.set_state(state);
    item.delete_on_finish = true;
    EXPECT_TRUE(item.set_output_file("/mnt/main/tv/vod/out.mp4"));
    return item;
  }
  // Gives the item turns until its child is gone.
  static void finish(QueueItem& item) {
    EXPECT_TRUE(wait_until([&] { return item.idle_process() && item.proc_pid == -1; }));
  }
};

}  // namespace

TEST_F(removal, metadata_are_removed_by_rm) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add(CLEANUP_UNLINK_FILE);
    item.proc_drain_stdout_before_reap = true;
    item.idle();
    EXPECT_THAT(item.proc_argv,
                ElementsAre("/bin/rm", "-Rfv", "--", "/mnt/media/.clip.mpg.metadata"));
    EXPECT_EQ(item.proc_stdout_read_fd, -1);
    EXPECT_FALSE(item.proc_drain_stdout_before_reap);
    EXPECT_EQ(item.proc_sm.cleanup.state, CLEANUP_UNLINK_FILE);
    EXPECT_EQ(status_writes.back(), "cleanup: Removing source file metadata as instructed...");
    EXPECT_EQ(child.started, 1);
  });
}

TEST_F(removal, without_metadata_there_is_no_child) {
  inside([&] {
    const fake_child child;
    std::filesystem::remove_all("/mnt/media/.clip.mpg.metadata");
    QueueItem& item = add(CLEANUP_UNLINK_FILE);
    item.idle();
    EXPECT_EQ(item.sm.cleanup.state, CLEANUP_UNLINK_META);
    EXPECT_EQ(child.started, 0);
  });
}

TEST_F(removal, metadata_other_than_a_directory_are_left_alone) {
  inside([&] {
    const fake_child child;
    std::filesystem::rename("/mnt/media/.clip.mpg.metadata", "/mnt/media/kept");
    std::filesystem::create_directory_symlink("kept", "/mnt/media/.clip.mpg.metadata");
    QueueItem& item = add(CLEANUP_UNLINK_FILE);
    EXPECT_TRUE(item.proc_start_unlink_input_file_metadata());
    EXPECT_EQ(item.sm.cleanup.state, CLEANUP_UNLINK_META);
    EXPECT_EQ(child.started, 0);
  });
}

TEST_F(removal, file_is_unlinked_by_a_child) {
  inside([&] {
    QueueItem& item = add(CLEANUP_UNLINK_META);
    item.idle();
    EXPECT_NE(item.proc_pid, -1);
    EXPECT_TRUE(item.proc_argv.empty());
    EXPECT_EQ(status_writes.back(), "cleanup: Removing source file as instructed...");
    finish(item);
    EXPECT_EQ(item.proc_status, exited(0));
    EXPECT_EQ(item.sm.cleanup.state, CLEANUP_DONE);
    EXPECT_FALSE(exists("/mnt/media/clip.mpg"));
  });
}

// The source disappears between the check and the child's attempt.
TEST_F(removal, missing_file_counts_as_removed) {
  inside([&] {
    kernel.fork = [] {
      std::filesystem::remove("/mnt/media/clip.mpg");
      kernel.fork = nullptr;
      return fork();
    };
    QueueItem& item = add(CLEANUP_UNLINK_META);
    EXPECT_TRUE(item.proc_start_unlink_input_file());
    finish(item);
    EXPECT_EQ(item.sm.cleanup.state, CLEANUP_DONE);
  });
}

TEST_F(removal, source_that_cannot_be_unlinked_is_reported) {
  inside([&] {
    std::filesystem::remove("/mnt/media/clip.mpg");
    std::filesystem::create_directory("/mnt/media/clip.mpg");  // a source may be a folder
    QueueItem& item = add(CLEANUP_UNLINK_META);
    EXPECT_TRUE(item.proc_start_unlink_input_file());
    finish(item);
    EXPECT_EQ(item.proc_status, exited(1));
    EXPECT_EQ(item.state_message, "Unable to remove file");
    EXPECT_TRUE(exists("/mnt/media/clip.mpg"));
  });
}

TEST_F(removal, unlinking_child_has_a_session_and_the_lowest_priority) {
  inside([&] {
    kernel.unlinkat = [](int, const char*) -> int {  // runs in the child
      const bool has_session = getsid(0) == getpid();
      _exit(has_session && getpriority(PRIO_PROCESS, 0) == 19 ? 0 : 99);
    };
    QueueItem& item = add(CLEANUP_UNLINK_META);
    EXPECT_TRUE(item.proc_start_unlink_input_file());
    finish(item);
    EXPECT_EQ(item.proc_status, exited(0));
  });
}

TEST_F(removal, unlinking_child_has_only_its_streams_and_the_folder_open) {
  inside([&] {
    const unique_fd held(open("/mnt/media", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    kernel.unlinkat = [](int folder, const char*) -> int {
      int open_descriptors = 0;
      for (int fd = 3; fd < 1000; ++fd) {
        open_descriptors += fd != folder && fcntl(fd, F_GETFD) >= 0 ? 1 : 0;
      }
      _exit(open_descriptors == 0 ? 0 : 99);
    };
    QueueItem& item = add(CLEANUP_UNLINK_META);
    EXPECT_TRUE(item.proc_start_unlink_input_file());
    finish(item);
    EXPECT_EQ(item.proc_status, exited(0));
  });
}

TEST_F(removal, failed_fork_cancels_and_releases_the_pipes) {
  inside([&] {
    const fake_child child;
    kernel.fork = [] { return -1; };
    for (const auto state : {CLEANUP_UNLINK_FILE, CLEANUP_UNLINK_META}) {
      QueueItem& item = add(state);
      EXPECT_TRUE(QueueItem::_std_open_anonpipe(item.proc_stdin_read_fd, item.proc_stdin_write_fd));
      item.idle();
      EXPECT_EQ(item.state_message, "unable to initiate removal");
      EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
      EXPECT_EQ(item.proc_stdin_write_fd, -1);
    }
  });
}

TEST_F(removal, relative_path_is_never_removed) {
  inside([&] {
    const fake_child child;
    EXPECT_EQ(chdir("/mnt/media"), 0);
    for (const char* path : {"clip.mpg", ""}) {
      QueueItem& metadata = add(CLEANUP_UNLINK_FILE);
      metadata.input_file = path;
      EXPECT_FALSE(metadata.proc_start_unlink_input_file_metadata());
      QueueItem& file = add(CLEANUP_UNLINK_META);
      file.input_file = path;
      EXPECT_FALSE(file.proc_start_unlink_input_file());
    }
    EXPECT_EQ(child.started, 0);
  });
}

TEST_F(removal, each_step_needs_its_own_state_and_no_child) {
  inside([&] {
    const fake_child child;
    EXPECT_FALSE(add(CLEANUP_UNLINK_META).proc_start_unlink_input_file_metadata());
    EXPECT_FALSE(add(CLEANUP_UNLINK_FILE).proc_start_unlink_input_file());
    QueueItem& elsewhere = add(CLEANUP_UNLINK_META);
    elsewhere.sm.state = TRANSCODE_DONE;
    EXPECT_FALSE(elsewhere.proc_start_unlink_input_file());
    QueueItem& busy = add(CLEANUP_UNLINK_META);
    busy.proc_pid = fake_child::pid;
    EXPECT_FALSE(busy.proc_start_unlink_input_file());
    EXPECT_EQ(child.started, 0);
  });
}

TEST_F(removal, forbidden_source_is_never_removed) {
  inside([&] {
    const fake_child child;
    QueueItem& item = add(CLEANUP_UNLINK_META);
    EXPECT_TRUE(item.set_input_file("/etc/hostname"));
    EXPECT_FALSE(item.proc_start_unlink_input_file());
    EXPECT_EQ(item.state_message, "Rejected: Forbidden input file");
    EXPECT_EQ(child.started, 0);
  });
}

// Other accounts may be able to exchange the folders above the source after it was transcoded.
namespace {

class removal_after_an_exchange : public removal {
protected:
  removal_after_an_exchange() {
    write_film("/mnt/media/open/films");
    write_film("/mnt/media/private");
    std::filesystem::permissions(root_.path("/mnt/media/open"), std::filesystem::perms::all);
  }

  void write_film(const std::string& folder) const {
    root_.write_source(folder + "/film.mpg", "video/mpeg");
  }

  // The item after its transcode.
  QueueItem& add_transcoded(cleanup_states state) {
    QueueItem& item = add(state);
    EXPECT_TRUE(item.set_input_file("/mnt/media/open/films/film.mpg"));
    EXPECT_EQ(item.validate_ready(), 1);
    return item;
  }

  static void replace_folder_by_link() {
    std::filesystem::rename("/mnt/media/open/films", "/mnt/media/open/moved");
    std::filesystem::create_directory_symlink("/mnt/media/private", "/mnt/media/open/films");
    if (geteuid() == 0) { EXPECT_EQ(lchown("/mnt/media/open/films", 65534, 65534), 0); }
  }
  static bool is_removed_under_other_numbers(QueueItem& item) {
    ++item.judged_source.device;
    ++item.judged_source.inode;
    EXPECT_TRUE(item.proc_start_unlink_input_file());
    finish(item);
    return !exists("/mnt/media/open/films/film.mpg");
  }
  static void exchange_folders() {
    EXPECT_EQ(renameat2(AT_FDCWD, "/mnt/media/open/films", AT_FDCWD, "/mnt/media/private",
                        RENAME_EXCHANGE),
              0);
  }
};

}  // namespace

TEST_F(removal_after_an_exchange, does_not_follow_a_link_to_another_folder) {
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("not root"); }
  inside([&] {
    QueueItem& file = add_transcoded(CLEANUP_UNLINK_META);
    QueueItem& metadata = add_transcoded(CLEANUP_UNLINK_FILE);
    replace_folder_by_link();
    EXPECT_TRUE(file.proc_start_unlink_input_file());
    finish(file);
    EXPECT_EQ(file.state_message, "Unable to remove file");
    EXPECT_TRUE(metadata.proc_start_unlink_input_file_metadata());
    finish(metadata);
    EXPECT_EQ(metadata.state_message, "Unable to remove metadata");
    EXPECT_TRUE(exists("/mnt/media/private/film.mpg"));
    EXPECT_TRUE(exists("/mnt/media/private/.film.mpg.metadata/metadata"));
  });
}

TEST_F(removal_after_an_exchange, leaves_another_folders_film_alone) {
  inside([&] {
    QueueItem& item = add_transcoded(CLEANUP_UNLINK_META);
    exchange_folders();
    EXPECT_TRUE(item.proc_start_unlink_input_file());
    finish(item);
    EXPECT_EQ(item.state_message, "Unable to remove file");
    EXPECT_TRUE(exists("/mnt/media/open/films/film.mpg"));
  });
}

TEST_F(removal_after_an_exchange, leaves_another_folders_metadata_alone) {
  inside([&] {
    QueueItem& item = add_transcoded(CLEANUP_UNLINK_FILE);
    exchange_folders();
    EXPECT_TRUE(item.proc_start_unlink_input_file_metadata());
    finish(item);
    EXPECT_EQ(item.state_message, "Unable to remove metadata");
    EXPECT_TRUE(exists("/mnt/media/open/films/.film.mpg.metadata/metadata"));
  });
}

TEST_F(removal_after_an_exchange, leaves_a_new_file_of_the_same_name_alone) {
  inside([&] {
    QueueItem& item = add_transcoded(CLEANUP_UNLINK_META);
    std::filesystem::rename("/mnt/media/private/film.mpg", "/mnt/media/open/films/film.mpg");
    EXPECT_TRUE(item.proc_start_unlink_input_file());
    finish(item);
    EXPECT_TRUE(exists("/mnt/media/open/films/film.mpg"));
  });
}

// The file is the same, only its numbers differ.
TEST_F(removal_after_an_exchange, removes_the_same_file_where_numbers_do_not_last) {
  for (const long system :
       std::initializer_list<long>{MSDOS_SUPER_MAGIC, EXFAT_SUPER_MAGIC, FUSE_SUPER_MAGIC,
                                   CIFS_SUPER_MAGIC, SMB2_SUPER_MAGIC}) {
    write_film("/mnt/media/open/films");
    inside([&] {
      kernel.file_system = system;
      EXPECT_TRUE(is_removed_under_other_numbers(add_transcoded(CLEANUP_UNLINK_META))) << system;
    });
  }
}

TEST_F(removal_after_an_exchange, leaves_a_file_with_other_numbers_alone_where_they_last) {
  for (const long system :
       std::initializer_list<long>{TMPFS_MAGIC, OVERLAYFS_SUPER_MAGIC, BTRFS_SUPER_MAGIC}) {
    inside([&] {
      kernel.file_system = system;
      EXPECT_FALSE(is_removed_under_other_numbers(add_transcoded(CLEANUP_UNLINK_META))) << system;
    });
  }
}

// A share has no device of its own, and neither has the file system in memory that takes its part.
TEST_F(removal_after_an_exchange, removes_the_same_file_of_a_share_that_was_mounted_again) {
  inside([&] {
    ASSERT_EQ(mount("share", "/mnt/media/open/films", "tmpfs", 0, nullptr), 0);
    write_file("/mnt/media/open/films/film.mpg", "film");
    kernel.file_system = NFS_SUPER_MAGIC;
    EXPECT_TRUE(is_removed_under_other_numbers(add_transcoded(CLEANUP_UNLINK_META)));
  });
}

TEST_F(removal_after_an_exchange, leaves_a_file_of_another_size_or_time_alone) {
  inside([&] {
    kernel.file_system = FUSE_SUPER_MAGIC;
    QueueItem& size = add_transcoded(CLEANUP_UNLINK_META);
    ++size.judged_source.size;
    EXPECT_FALSE(is_removed_under_other_numbers(size));
    QueueItem& seconds = add_transcoded(CLEANUP_UNLINK_META);
    ++seconds.judged_source.modified.tv_sec;
    EXPECT_FALSE(is_removed_under_other_numbers(seconds));
    QueueItem& nanoseconds = add_transcoded(CLEANUP_UNLINK_META);
    ++nanoseconds.judged_source.modified.tv_nsec;
    EXPECT_FALSE(is_removed_under_other_numbers(nanoseconds));
  });
}

// Without the tool, whose path could lead elsewhere by the time it starts.
TEST_F(removal_after_an_exchange, metadata_below_an_open_folder_are_removed_without_rm) {
  inside([&] {
    QueueItem& item = add_transcoded(CLEANUP_UNLINK_FILE);
    EXPECT_TRUE(item.proc_start_unlink_input_file_metadata());
    finish(item);
    EXPECT_EQ(item.sm.cleanup.state, CLEANUP_UNLINK_META);
    EXPECT_FALSE(exists("/mnt/media/open/films/.film.mpg.metadata"));
    EXPECT_TRUE(exists("/mnt/media/open/films/film.mpg"));
  });
  EXPECT_TRUE(root_.calls(tool::rm).empty());
}
