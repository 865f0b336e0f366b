// Additional media roots. The list is read once per process, so each test runs in a separate
// process and never in the test program itself.
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "platform/forbidden_area.h"
#include "tests/platform/own_mnt.h"
#include "tests/support/files.h"

using qx_test::in_own_mnt;
using qx_test::write_file;

namespace {

const std::string roots_file = "/mnt/main/tv/media.roots";

bool is_allowed(const std::string& path) {
  return cgi_velmar_forbidden_area(path.c_str(), 0) == 0;
}

TEST(media_roots, listed_roots_are_allowed) {
  in_own_mnt([] {
    write_file(roots_file, "# more disks\n\n  /data/films \r\n/home/tv/\n/last");
    EXPECT_TRUE(is_allowed("/data/films/a.ts"));
    EXPECT_TRUE(is_allowed("/home/tv/a.ts"));
    EXPECT_TRUE(is_allowed("/last/a.ts"));
    EXPECT_TRUE(is_allowed("/mnt/a.ts"));
    EXPECT_FALSE(is_allowed("/data/a.ts"));
    EXPECT_FALSE(is_allowed("/data/films"));
    EXPECT_FALSE(is_allowed("/data/films2/a.ts"));
  });
}

TEST(media_roots, list_is_read_once) {
  in_own_mnt([] {
    EXPECT_FALSE(is_allowed("/data/a.ts"));
    write_file(roots_file, "/data\n");
    EXPECT_FALSE(is_allowed("/data/a.ts"));
  });
}

TEST(media_roots, unacceptable_root_is_ignored_and_reported_in_one_line) {
  for (const std::string root :
       {"/", "/bin", "/boot", "/dev/shm", "/etc", "/lib", "/lib64", "/proc", "/root", "/run/media",
        "/sbin", "/sys", "/usr/local", "/var/lib/tv", "data", "/data/../etc", "/data//x", "/."}) {
    in_own_mnt([root] {
      write_file(roots_file, root + "\n/good\n");
      testing::internal::CaptureStderr();
      EXPECT_FALSE(is_allowed(root + "/a.ts")) << root;
      EXPECT_TRUE(is_allowed("/good/a.ts")) << root;
      EXPECT_EQ(testing::internal::GetCapturedStderr(),
                std::string(roots_file)
                    .append(": '")
                    .append(root)
                    .append("' cannot be a media root, ignored\n"));
    });
  }
}

TEST(media_roots, namesake_of_a_system_directory_may_be_a_root) {
  in_own_mnt([] {
    write_file(roots_file, "/variety\n");
    EXPECT_TRUE(is_allowed("/variety/a.ts"));
  });
}

TEST(media_roots, unreadable_list_is_ignored_and_reported_in_one_line) {
  in_own_mnt([] {
    write_file("/mnt/main/tv/x", "");
    ASSERT_EQ(mkfifo(roots_file.c_str(), 0600), 0);
    testing::internal::CaptureStderr();
    EXPECT_TRUE(is_allowed("/mnt/a.ts"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), roots_file + " ignored, Invalid argument\n");
  });
}

}  // namespace
