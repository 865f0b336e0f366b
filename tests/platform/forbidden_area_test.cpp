// Which paths, directories and names may be touched, with the built-in roots alone.
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/forbidden_area.h"
#include "platform/unique_fd.h"
#include "tests/platform/own_mnt.h"
#include "tests/support/files.h"

using qx_test::in_own_mnt;
using qx_test::write_file;

namespace {

bool is_allowed(const std::string& path) {
  return cgi_velmar_forbidden_area(path.c_str(), 0) == 0;
}

unsigned directory_verdict(const std::string& path) {
  const unique_fd fd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_TRUE(fd.valid()) << path;
  return cgi_velmar_forbidden_area_fd(fd.get(), 0x8080);
}

TEST(forbidden_path, media_below_the_roots_is_allowed) {
  for (const char* path :
       {"/mnt/film.ts", "/media/usb/a b/film.mp4", "/srv/x", "/mnt/...", "/mnt/.x",
        "/mnt/main/tv/vod/1.mp4", "/mnt/main/tv/recordings", "/mnt/\xc3\xa9"}) {
    EXPECT_EQ(cgi_velmar_forbidden_area(path, 0), 0U) << path;
  }
}

TEST(forbidden_path, everything_else_is_forbidden_by_bit_1) {
  for (const char* path : {"/etc/passwd", "/mnt", "/media", "/srv", "/", "", "/mntx/film",
                           "/home/x", "mnt/film", "./mnt/film"}) {
    EXPECT_EQ(cgi_velmar_forbidden_area(path, 0), 0x1U) << path;
  }
}

TEST(forbidden_path, components_that_lead_elsewhere_are_forbidden) {
  for (const char* path : {"/mnt/../etc/passwd", "/mnt/a/..", "/mnt/./film", "/mnt//film",
                           "//mnt/film", "/mnt/film/", "/mnt/"}) {
    EXPECT_FALSE(is_allowed(path)) << path;
  }
}

TEST(forbidden_path, control_characters_are_forbidden) {
  for (const char* path : {"/mnt/a\nb", "/mnt/a\x7f", "/mnt/\x01", "/mnt/a\tb"}) {
    EXPECT_FALSE(is_allowed(path)) << path;
  }
}

TEST(forbidden_path, longest_path_has_4095_bytes) {
  const std::string path = "/mnt/" + std::string(4090, 'x');
  EXPECT_TRUE(is_allowed(path));
  EXPECT_FALSE(is_allowed(path + "x"));
}

TEST(forbidden_path, platform_s_own_files_are_forbidden) {
  for (const char* path :
       {"/mnt/main/tv/fileops/jobs/1/status", "/mnt/main/tv/fileops/x", "/mnt/main/tv/fileops",
        "/mnt/main/tv/vod.conf", "/mnt/main/tv/vod.queue.js", "/mnt/main/tv/vod.queue.js.tmp",
        "/mnt/main/tv/vod.queue.js.unreadable-20261122T013005Z", "/mnt/main/tv/media.roots"}) {
    EXPECT_FALSE(is_allowed(path)) << path;
  }
}

TEST(forbidden_path, directories_that_hold_them_are_forbidden_and_their_neighbours_are_not) {
  EXPECT_FALSE(is_allowed("/mnt/main"));
  EXPECT_FALSE(is_allowed("/mnt/main/tv"));
  EXPECT_TRUE(is_allowed("/mnt/main/tv/vod.conf.ts"));
  EXPECT_TRUE(is_allowed("/mnt/main/tv/fileops2"));
}

TEST(forbidden_directory, media_directories_and_the_roots_are_allowed) {
  in_own_mnt([] {
    ASSERT_EQ(mkdir("/mnt/a", 0755), 0);
    EXPECT_EQ(directory_verdict("/mnt/a"), 0U);
    EXPECT_EQ(directory_verdict("/mnt"), 0U);
  });
}

TEST(forbidden_directory, directories_elsewhere_are_forbidden_by_bit_0x200) {
  EXPECT_EQ(directory_verdict("/etc"), 0x200U);
  EXPECT_EQ(directory_verdict("/"), 0x200U);
}

TEST(forbidden_directory, link_is_judged_by_its_target) {
  in_own_mnt([] {
    ASSERT_EQ(symlink("/etc", "/mnt/link"), 0);
    EXPECT_TRUE(is_allowed("/mnt/link/passwd"));
    EXPECT_EQ(directory_verdict("/mnt/link"), 0x200U);
  });
}

TEST(forbidden_directory, platform_s_own_directories_are_forbidden_and_those_around_them_are_not) {
  in_own_mnt([] {
    write_file("/mnt/main/tv/fileops/jobs/1/status", "");
    EXPECT_EQ(directory_verdict("/mnt/main/tv/fileops"), 0x200U);
    EXPECT_EQ(directory_verdict("/mnt/main/tv/fileops/jobs/1"), 0x200U);
    EXPECT_EQ(directory_verdict("/mnt/main/tv"), 0U);
  });
}

TEST(forbidden_directory, unresolvable_descriptor_is_forbidden) {
  EXPECT_EQ(cgi_velmar_forbidden_area_fd(-1, 0), 0x200U);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(cgi_velmar_forbidden_area_fd(ends[0], 0), 0x200U);
}

TEST(forbidden_name, usual_names_are_allowed) {
  for (const char* name :
       {"film.ts", "a b", "-x", "100%", "x.metadata", "\xc3\xa9", "a..b", "a."}) {
    EXPECT_EQ(cgi_velmar_forbidden_file_name(name), 0) << name;
  }
}

TEST(forbidden_name, others_are_forbidden) {
  for (const char* name : {"", ".", "..", "a/b", "/", "a\nb", "\x7f", ".hidden", ".x.metadata"}) {
    EXPECT_NE(cgi_velmar_forbidden_file_name(name), 0) << name;
  }
}

TEST(forbidden_name, longest_name_has_255_bytes) {
  EXPECT_EQ(cgi_velmar_forbidden_file_name(std::string(255, 'x').c_str()), 0);
  EXPECT_NE(cgi_velmar_forbidden_file_name(std::string(256, 'x').c_str()), 0);
}

}  // namespace
