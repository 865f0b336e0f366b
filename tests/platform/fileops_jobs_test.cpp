// Job ids and job directories.
#include <cerrno>
#include <set>
#include <string>

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/fileops_jobs.h"
#include "tests/platform/own_mnt.h"
#include "tests/support/files.h"

using qx_test::in_own_mnt;
using qx_test::write_file;

namespace {

int listings = 0;

}  // namespace

// Replaces the C library's function and calls it.
extern "C" DIR* opendir(const char* path) {
  static const auto real = reinterpret_cast<DIR* (*)(const char*)>(dlsym(RTLD_NEXT, "opendir"));
  ++listings;
  return real(path);
}

namespace {

const std::string jobs = "/mnt/main/tv/fileops/jobs/";

bool is_directory(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string directory_of(std::int32_t id, std::size_t size = 4097) {
  char buffer[4097];
  const char* const answer = cgi_get_fileops_job_directory(id, size, buffer);
  return answer == buffer ? answer : "(none)";
}

TEST(fileops_job_directory, is_named_by_the_id_in_decimal) {
  EXPECT_EQ(directory_of(31), "/mnt/main/tv/fileops/jobs/31");
  EXPECT_EQ(directory_of(2147483647), "/mnt/main/tv/fileops/jobs/2147483647");
}

TEST(fileops_job_directory, negative_id_has_no_directory) {
  EXPECT_EQ(directory_of(-1), "(none)");
  EXPECT_EQ(errno, EINVAL);
}

TEST(fileops_job_directory, buffer_must_hold_the_path_and_its_nul) {
  EXPECT_EQ(directory_of(7, sizeof("/mnt/main/tv/fileops/jobs/7")), jobs + "7");
  EXPECT_EQ(directory_of(7, sizeof("/mnt/main/tv/fileops/jobs/7") - 1), "(none)");
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(directory_of(7, 0), "(none)");
}

TEST(fileops_job_id, first_is_1_and_its_directory_and_parents_are_made) {
  in_own_mnt([] {
    EXPECT_EQ(new_cgi_fileops_job_id(), 1);
    EXPECT_TRUE(is_directory(jobs + "1"));
  });
}

TEST(fileops_job_id, next_is_one_above_the_highest_that_exists) {
  in_own_mnt([] {
    write_file(jobs + "41/status", "");
    write_file(jobs + "7/status", "");
    EXPECT_EQ(new_cgi_fileops_job_id(), 42);
  });
}

TEST(fileops_job_id, gaps_are_not_filled) {
  in_own_mnt([] {
    write_file(jobs + "5/status", "");
    EXPECT_EQ(new_cgi_fileops_job_id(), 6);
    ASSERT_EQ(rmdir((jobs + "6").c_str()), 0);
    EXPECT_EQ(new_cgi_fileops_job_id(), 7);
  });
}

TEST(fileops_job_id, names_that_are_not_ids_are_ignored) {
  in_own_mnt([] {
    for (const char* name : {"99x", "-5", "0088", " 9", "2147483647", "99999999999999999999"}) {
      write_file(jobs + name + "/status", "");
    }
    EXPECT_EQ(new_cgi_fileops_job_id(), 1);
  });
}

TEST(fileops_job_id, file_named_like_an_id_occupies_it) {
  in_own_mnt([] {
    write_file(jobs + "3", "");
    EXPECT_EQ(new_cgi_fileops_job_id(), 4);
  });
}

TEST(fileops_job_id, last_id_is_allocated_and_then_no_more) {
  in_own_mnt([] {
    write_file(jobs + "2147483645/status", "");
    EXPECT_EQ(new_cgi_fileops_job_id(), 2147483646);
    EXPECT_LT(new_cgi_fileops_job_id(), 0);
    EXPECT_EQ(errno, EOVERFLOW);
  });
}

TEST(fileops_job_id, file_in_place_of_the_parent_is_a_failure) {
  in_own_mnt([] {
    write_file("/mnt/main/tv/fileops", "");
    EXPECT_LT(new_cgi_fileops_job_id(), 0);
    EXPECT_EQ(errno, ENOTDIR);
  });
}

void make_job(int id) {
  ASSERT_EQ(mkdir((jobs + std::to_string(id)).c_str(), 0777), 0);
}

void remove_job(int id) {
  ASSERT_EQ(rmdir((jobs + std::to_string(id)).c_str()), 0);
}

TEST(fileops_job_id, jobs_are_listed_once) {
  in_own_mnt([] {
    EXPECT_EQ(new_cgi_fileops_job_id(), 1);
    listings = 0;
    for (int id = 2; id < 20; ++id) {
      EXPECT_EQ(new_cgi_fileops_job_id(), id);
      remove_job(id - 1);
    }
    EXPECT_EQ(listings, 0);
  });
}

TEST(fileops_job_id, job_that_another_process_makes_is_seen) {
  in_own_mnt([] {
    EXPECT_EQ(new_cgi_fileops_job_id(), 1);
    make_job(41);
    EXPECT_EQ(new_cgi_fileops_job_id(), 42);
  });
}

TEST(fileops_job_id, gaps_that_another_process_leaves_are_not_filled) {
  in_own_mnt([] {
    EXPECT_EQ(new_cgi_fileops_job_id(), 1);
    for (int id = 2; id < 10; ++id) {
      make_job(id);
    }
    for (int id = 2; id < 9; ++id) {
      remove_job(id);
    }
    EXPECT_EQ(new_cgi_fileops_job_id(), 10);
  });
}

TEST(fileops_job_id, ids_above_ours_are_reused_once_they_are_gone) {
  in_own_mnt([] {
    EXPECT_EQ(new_cgi_fileops_job_id(), 1);
    make_job(41);
    EXPECT_EQ(new_cgi_fileops_job_id(), 42);
    make_job(99);
    remove_job(99);
    EXPECT_EQ(new_cgi_fileops_job_id(), 43);
  });
}

TEST(fileops_job_id, renamed_job_counts_by_its_new_name) {
  in_own_mnt([] {
    EXPECT_EQ(new_cgi_fileops_job_id(), 1);
    ASSERT_EQ(rename((jobs + "1").c_str(), (jobs + "50").c_str()), 0);
    EXPECT_EQ(new_cgi_fileops_job_id(), 51);
  });
}

TEST(fileops_job_id, folder_that_was_replaced_is_listed_again) {
  in_own_mnt([] {
    EXPECT_EQ(new_cgi_fileops_job_id(), 1);
    ASSERT_EQ(rename(jobs.substr(0, jobs.size() - 1).c_str(), "/mnt/main/tv/fileops/old"), 0);
    write_file(jobs + "70/status", "");
    EXPECT_EQ(new_cgi_fileops_job_id(), 71);
  });
}

// The kernel queues only a limited number of changes until they are read.
TEST(fileops_job_id, overflow_of_changes_loses_nothing) {
  in_own_mnt(
      [] {
        EXPECT_EQ(new_cgi_fileops_job_id(), 1);
        for (int id = 2; id < 12000; ++id) {
          make_job(id);
          if (id > 2) { remove_job(id - 1); }
        }
        EXPECT_EQ(new_cgi_fileops_job_id(), 12000);
      },
      65536);
}

TEST(fileops_job_id, forked_child_and_its_parent_do_not_take_each_other_s_changes) {
  in_own_mnt([] {
    EXPECT_EQ(new_cgi_fileops_job_id(), 1);
    make_job(10);
    const pid_t child = fork();
    if (child == 0) { _exit(new_cgi_fileops_job_id() == 11 ? 0 : 1); }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(new_cgi_fileops_job_id(), 12);
  });
}

// Allocates `count` ids and writes them to `fd`; the process's exit status reports failures.
[[noreturn]] void allocate(int fd, int count) {
  bool is_good = true;
  for (int i = 0; i < count; ++i) {
    const std::int32_t id = new_cgi_fileops_job_id();
    is_good = is_good && id > 0 && write(fd, &id, sizeof(id)) == sizeof(id);
  }
  _exit(is_good ? 0 : 1);
}

TEST(fileops_job_id, processes_that_allocate_at_once_get_different_ids) {
  in_own_mnt([] {
    constexpr int processes = 4;
    constexpr int each = 50;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    for (int i = 0; i < processes; ++i) {
      if (fork() == 0) { allocate(ends[1], each); }
    }
    close(ends[1]);
    std::set<std::int32_t> ids;
    std::int32_t id = 0;
    while (read(ends[0], &id, sizeof(id)) == sizeof(id)) {
      EXPECT_TRUE(ids.insert(id).second) << id;
    }
    EXPECT_EQ(ids.size(), static_cast<std::size_t>(processes * each));
    for (int status = 0; wait(&status) > 0;) {
      EXPECT_EQ(status, 0);
    }
  });
}

}  // namespace
