// Which links are followed, and where a link of another account may lead.
#include <cerrno>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/trusted_path.h"
#include "tests/platform/test_folder.h"
#include "tests/support/skip.h"

using qx_test::test_folder;

namespace {

constexpr uid_t stranger = 4711;

struct trusted_path : testing::Test {
  test_folder folder;
  std::string target = make_folder("target", 0755);
  std::string open_to_all = make_folder("open", 0777);

  std::string make_folder(const std::string& name, mode_t mode) {
    const std::string path = folder.file(name);
    EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
    return path;
  }
  static void write(const std::string& path, mode_t mode = 0644) {
    std::ofstream(path) << "content";
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
  }
  // A link of this process's account.
  static std::string link(const std::string& from, const std::string& to) {
    EXPECT_EQ(symlink(to.c_str(), from.c_str()), 0);
    return from;
  }
  static int error_of(const std::string& path, int flags = O_RDONLY) {
    errno = 0;
    return open_trusted(path, flags, 0600).valid() ? 0 : errno;
  }
};

// Only root can create files that belong to other accounts.
struct paths_over_a_strangers_link : trusted_path {
  void SetUp() override {
    if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("not root"); }
  }
  static std::string link(const std::string& from, const std::string& to) {
    trusted_path::link(from, to);
    EXPECT_EQ(lchown(from.c_str(), stranger, stranger), 0);
    return from;
  }
};

}  // namespace

TEST_F(trusted_path, without_links_opens) {
  write(target + "/film");
  EXPECT_EQ(error_of(target + "/film"), 0);
  EXPECT_EQ(error_of(target + "//../target/./film"), 0);
  EXPECT_EQ(error_of(target + "/none"), ENOENT);
  EXPECT_EQ(error_of(target + "/none/film"), ENOENT);
  EXPECT_EQ(error_of(target + "/film/none"), ENOTDIR);
}

TEST_F(trusted_path, is_closed_on_exec) {
  EXPECT_NE(fcntl(open_trusted(target, O_RDONLY).get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(trusted_path, through_own_links_opens) {
  write(target + "/film");
  link(open_to_all + "/folder", target);
  link(open_to_all + "/relative", "../target/film");
  link(open_to_all + "/twice", open_to_all + "/folder/film");
  EXPECT_EQ(error_of(open_to_all + "/folder/film"), 0);
  EXPECT_EQ(error_of(open_to_all + "/relative"), 0);
  EXPECT_EQ(error_of(open_to_all + "/twice"), 0);
  EXPECT_EQ(error_of(open_to_all + "/folder/none"), ENOENT);
}

TEST_F(trusted_path, in_a_loop_of_links_fails) {
  link(open_to_all + "/a", "b");
  link(open_to_all + "/b", "a");
  EXPECT_EQ(error_of(open_to_all + "/a"), ELOOP);
}

TEST_F(trusted_path, fails_at_a_last_link_that_must_not_be_followed) {
  write(target + "/film");
  link(target + "/link", "film");
  link(open_to_all + "/folder", target);
  EXPECT_EQ(error_of(target + "/link", O_RDONLY | O_NOFOLLOW), ELOOP);
  EXPECT_EQ(error_of(open_to_all + "/folder/film", O_RDONLY | O_NOFOLLOW), 0);
}

TEST_F(trusted_path, creates_files_with_their_mode) {
  link(open_to_all + "/folder", target);
  ASSERT_TRUE(open_trusted(open_to_all + "/folder/new", O_WRONLY | O_CREAT | O_EXCL, 0600).valid());
  struct stat status {};
  ASSERT_EQ(stat((target + "/new").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(trusted_path, gives_the_directory_and_the_name) {
  std::string name;
  const unique_fd directory = open_directory_of(target + "/new film", name);
  EXPECT_EQ(name, "new film");
  EXPECT_EQ(mkdirat(directory.get(), name.c_str(), 0700), 0);
  EXPECT_EQ(access((target + "/new film").c_str(), F_OK), 0);
  EXPECT_TRUE(open_directory_of("film", name).valid());
  EXPECT_EQ(name, "film");
  EXPECT_FALSE(open_directory_of(target + "/none/film", name).valid());
}

TEST_F(trusted_path, makes_directories_and_removes_files) {
  EXPECT_TRUE(make_directory(target + "/new", 0700));
  EXPECT_FALSE(make_directory(target + "/new", 0700));
  EXPECT_EQ(errno, EEXIST);
  write(target + "/new/film");
  EXPECT_TRUE(remove_file(target + "/new/film"));
  EXPECT_FALSE(remove_file(target + "/new/film"));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(paths_over_a_strangers_link, are_not_used_to_make_directories_or_remove_files) {
  write(target + "/film");
  link(open_to_all + "/folder", target);
  EXPECT_FALSE(make_directory(open_to_all + "/folder/new", 0700));
  EXPECT_FALSE(remove_file(open_to_all + "/folder/film"));
  EXPECT_EQ(access((target + "/film").c_str(), F_OK), 0);
  EXPECT_NE(access((target + "/new").c_str(), F_OK), 0);
}

TEST_F(paths_over_a_strangers_link, fail_in_a_folder_that_everybody_can_write_to) {
  write(target + "/film");
  link(open_to_all + "/folder", target);
  link(open_to_all + "/film", target + "/film");
  EXPECT_EQ(error_of(open_to_all + "/folder/film"), ELOOP);
  EXPECT_EQ(error_of(open_to_all + "/film"), ELOOP);
  std::string name;
  EXPECT_FALSE(open_directory_of(open_to_all + "/folder/film", name).valid());
}

TEST_F(paths_over_a_strangers_link, lead_to_files_that_everybody_may_read) {
  write(target + "/film", 0644);
  write(target + "/secret", 0600);
  const std::string home = make_folder("home", 0755);
  link(home + "/folder", target);
  EXPECT_EQ(error_of(home + "/folder/film"), 0);
  EXPECT_EQ(error_of(home + "/folder/secret"), EACCES);
}

TEST_F(paths_over_a_strangers_link, lead_to_the_stranger_s_own_files) {
  write(target + "/film", 0600);
  ASSERT_EQ(chown((target + "/film").c_str(), stranger, stranger), 0);
  link(make_folder("home", 0755) + "/film", target + "/film");
  EXPECT_EQ(error_of(folder.file("home/film")), 0);
}

TEST_F(paths_over_a_strangers_link, do_not_lead_to_folders_that_the_stranger_may_not_change) {
  link(make_folder("home", 0755) + "/folder", target);
  std::string name;
  EXPECT_FALSE(open_directory_of(folder.file("home/folder/film"), name).valid());
  EXPECT_EQ(errno, EACCES);
  ASSERT_EQ(chown(target.c_str(), stranger, stranger), 0);
  EXPECT_TRUE(open_directory_of(folder.file("home/folder/film"), name).valid());
}
