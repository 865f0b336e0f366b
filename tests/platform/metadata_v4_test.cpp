// Metadata: its location, text form and files.
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/metadata_v4.h"
#include "tests/platform/own_mnt.h"
#include "tests/platform/test_folder.h"
#include "tests/support/files.h"

using qx_test::exists;
using qx_test::read_file;
using qx_test::write_file;

namespace {

// The path that metadata_v4_file_to_metadir returns, or the name of its errno.
std::string metadir(const std::string& path, std::size_t size = 4096) {
  char buffer[4096] = "untouched";
  const int length = metadata_v4_file_to_metadir(path.c_str(), buffer, size);
  if (length < 0) { return strerrorname_np(errno); }
  EXPECT_EQ(static_cast<std::size_t>(length), strlen(buffer));
  return buffer;
}

TEST(metadir, lies_beside_the_file) {
  EXPECT_EQ(metadir("/dir/name"), "/dir/.name.metadata");
  EXPECT_EQ(metadir("/mnt/a b/film.ts"), "/mnt/a b/.film.ts.metadata");
  EXPECT_EQ(metadir("/name"), "/.name.metadata");
}

TEST(metadir, relative_path_or_no_name_is_refused) {
  EXPECT_EQ(metadir("name"), "EINVAL");
  EXPECT_EQ(metadir("dir/name"), "EINVAL");
  EXPECT_EQ(metadir(""), "EINVAL");
  EXPECT_EQ(metadir("/dir/"), "EINVAL");
}

TEST(metadir, longest_name_fills_a_file_name_of_the_system) {
  EXPECT_EQ(metadir("/" + std::string(245, 'n')).size(), 1U + 255U);
  EXPECT_EQ(metadir("/" + std::string(246, 'n')), "ENAMETOOLONG");
}

TEST(metadir, buffer_must_hold_the_path_and_its_nul) {
  EXPECT_EQ(metadir("/a/b", sizeof("/a/.b.metadata")), "/a/.b.metadata");
  EXPECT_EQ(metadir("/a/b", sizeof("/a/.b.metadata") - 1), "ERANGE");
  EXPECT_EQ(metadir("/a/b", 0), "ERANGE");
}

TEST(metadata_name, any_component_counts) {
  EXPECT_TRUE(metadata_v4_context_is_metadata_name("/a/.film.metadata"));
  EXPECT_TRUE(metadata_v4_context_is_metadata_name("/a/.film.metadata/vod.thumbnail.jpg"));
  EXPECT_TRUE(metadata_v4_context_is_metadata_name(".x.metadata"));
}

TEST(metadata_name, other_names_do_not) {
  for (const char* path : {"", "/", "/a/film.metadata", "/a/.film.metadata2", "/a/.film/.metadata",
                           "/a/..metadata", "/a/.metadata", "/a/.film.meta/data"}) {
    EXPECT_FALSE(metadata_v4_context_is_metadata_name(path)) << path;
  }
}

struct metadata : testing::Test {
  qx_test::test_folder folder;
  metadata_v4_context* context = metadata_v4_context_create();
  metadata_v4_metadata_context* entries = metadata_v4_metadata_context_create();
  std::string directory = folder.file(".film.metadata");
  std::string file = directory + "/metadata";

  metadata() {
    EXPECT_EQ(metadata_v4_context_set_file_location(context, folder.file("film").c_str()), 0);
  }
  ~metadata() override {
    EXPECT_EQ(metadata_v4_metadata_context_destroy(entries), nullptr);
    EXPECT_EQ(metadata_v4_context_destroy(context), nullptr);
  }

  void set(const char* name, const char* value) {
    EXPECT_EQ(metadata_v4_metadata_context_write_entry(entries, name, value), 0);
  }
  std::string get(const char* name) const {
    const char* const value = metadata_v4_metadata_context_read_entry(entries, name);
    return value == nullptr ? "(absent)" : value;
  }
  // "ok", or the name of errno.
  std::string load(const char* name = nullptr) {
    const int result = metadata_v4_metadata_context_load_metadata_from_file(entries, context, name);
    return result == 0 ? "ok" : strerrorname_np(errno);
  }
  std::string load_text(const std::string& text) {
    write_file(file, text);
    return load();
  }
  std::string write(const char* name = nullptr) {
    const int result = metadata_v4_metadata_context_write_metadata_to_file(entries, context, name);
    return result == 0 ? "ok" : strerrorname_np(errno);
  }
};

TEST_F(metadata, destroying_null_is_fine) {
  EXPECT_EQ(metadata_v4_metadata_context_destroy(nullptr), nullptr);
  EXPECT_EQ(metadata_v4_context_destroy(nullptr), nullptr);
}

TEST_F(metadata, entries_are_written_in_order) {
  set("file type", "video/mp4");
  set("duration", "61.400");
  set("file type", "audio/mp4");
  EXPECT_EQ(write(), "ok");
  EXPECT_EQ(read_file(file), "file type=audio/mp4\nduration=61.400\n");
}

TEST_F(metadata, written_entries_are_loaded_again) {
  const std::string odd = "a\\b\nc\rd\\n=\xc3\xa9 ";
  set("odd", odd.c_str());
  set("empty", "");
  ASSERT_EQ(write(), "ok");
  set("odd", "changed");
  set("later", "x");
  EXPECT_EQ(load(), "ok");
  EXPECT_EQ(get("odd"), odd);
  EXPECT_EQ(get("empty"), "");
  EXPECT_EQ(get("later"), "(absent)");
}

TEST_F(metadata, line_ends_and_backslashes_are_escaped) {
  set("a", "1\\2\n3\r4");
  ASSERT_EQ(write(), "ok");
  EXPECT_EQ(read_file(file), "a=1\\\\2\\n3\\r4\n");
}

TEST_F(metadata, backslash_before_any_other_character_is_literal) {
  EXPECT_EQ(load_text("a=\\x\\\\n\\\nb=\\"), "ok");
  EXPECT_EQ(get("a"), "\\x\\n\\");
  EXPECT_EQ(get("b"), "\\");
}

TEST_F(metadata, later_line_replaces_the_value_and_keeps_the_position) {
  EXPECT_EQ(load_text("a=1\nb=2\na=3\n"), "ok");
  ASSERT_EQ(write(), "ok");
  EXPECT_EQ(read_file(file), "a=3\nb=2\n");
}

TEST_F(metadata, last_line_needs_no_line_feed) {
  EXPECT_EQ(load_text("a=1\nb=2"), "ok");
  EXPECT_EQ(get("b"), "2");
}

TEST_F(metadata, value_may_hold_equals_signs) {
  EXPECT_EQ(load_text("a=b=c\n"), "ok");
  EXPECT_EQ(get("a"), "b=c");
}

TEST_F(metadata, empty_file_has_no_entries) {
  set("a", "1");
  EXPECT_EQ(load_text(""), "ok");
  EXPECT_EQ(get("a"), "(absent)");
}

TEST_F(metadata, file_with_a_line_that_is_not_an_entry_is_refused) {
  for (const std::string text : {"a=1\nb\n", "=1\n", "a=1\n\nb=2\n", "\n"}) {
    EXPECT_EQ(load_text(text), "EINVAL") << text;
  }
  EXPECT_EQ(load_text(std::string("a=1\0b\n", 6)), "EINVAL");
}

TEST_F(metadata, refused_file_leaves_the_entries_unchanged) {
  set("a", "1");
  EXPECT_EQ(load_text("b=2\nc"), "EINVAL");
  EXPECT_EQ(get("a"), "1");
  EXPECT_EQ(get("b"), "(absent)");
}

TEST_F(metadata, file_of_a_mebibyte_is_loaded_and_a_larger_one_refused) {
  const std::string line = "a=" + std::string((1U << 20U) - 3, 'x') + "\n";
  EXPECT_EQ(load_text(line), "ok");
  EXPECT_EQ(load_text(line + "b"), "EINVAL");
}

// A hundred thousand names in one file; a linear search for each would take minutes.
TEST_F(metadata, file_with_many_names_is_loaded_quickly) {
  std::string text;
  for (int i = 0; i < 100000; ++i) {
    text += std::to_string(i) + "=\n";
  }
  EXPECT_EQ(load_text(text), "ok");
  EXPECT_EQ(get("99999"), "");
}

TEST_F(metadata, missing_directory_or_file_is_reported) {
  EXPECT_EQ(load(), "ENOENT");
  write_file(directory + "/other", "");
  EXPECT_EQ(load(), "ENOENT");
}

TEST_F(metadata, other_file_of_the_directory_can_be_named) {
  set("a", "1");
  EXPECT_EQ(write(".vod.metadata"), "ok");
  EXPECT_EQ(read_file(directory + "/.vod.metadata"), "a=1\n");
  EXPECT_FALSE(exists(file));
  EXPECT_EQ(load(".vod.metadata"), "ok");
}

TEST_F(metadata, name_that_leads_elsewhere_is_refused) {
  for (const char* name : {"", ".", "..", "../metadata", "/etc/passwd"}) {
    EXPECT_EQ(load(name), "EINVAL") << name;
    EXPECT_EQ(write(name), "EINVAL") << name;
  }
}

TEST_F(metadata, links_are_not_followed) {
  write_file(folder.file("elsewhere/metadata"), "a=1\n");
  ASSERT_EQ(symlink("elsewhere", directory.c_str()), 0);
  EXPECT_EQ(load(), "ENOTDIR");
  EXPECT_EQ(write(), "ENOTDIR");
  EXPECT_EQ(read_file(folder.file("elsewhere/metadata")), "a=1\n");
}

TEST_F(metadata, link_in_place_of_the_file_is_replaced_by_the_file) {
  write_file(folder.file("victim"), "a=1\n");
  ASSERT_EQ(mkdir(directory.c_str(), 0755), 0);
  ASSERT_EQ(symlink("../victim", file.c_str()), 0);
  EXPECT_EQ(load(), "ELOOP");
  set("b", "2");
  EXPECT_EQ(write(), "ok");
  EXPECT_EQ(read_file(folder.file("victim")), "a=1\n");
  EXPECT_EQ(load(), "ok");
}

TEST_F(metadata, fifo_in_place_of_the_file_is_refused_and_not_waited_for) {
  ASSERT_EQ(mkdir(directory.c_str(), 0755), 0);
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(load(), "EINVAL");
}

TEST_F(metadata, missing_media_directory_is_not_made) {
  ASSERT_EQ(metadata_v4_context_set_file_location(context, folder.file("no/film").c_str()), 0);
  EXPECT_EQ(write(), "ENOENT");
}

TEST_F(metadata, file_too_large_to_be_loaded_again_is_not_written) {
  set("a", std::string((1U << 20U) - 2, 'x').c_str());
  EXPECT_EQ(write(), "EFBIG");
  EXPECT_FALSE(exists(file));
}

TEST_F(metadata, writing_leaves_no_other_file) {
  set("a", "1");
  ASSERT_EQ(write(), "ok");
  ASSERT_EQ(write(), "ok");
  const std::filesystem::directory_iterator files(directory);
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST_F(metadata, file_has_the_mode_of_any_new_file) {
  const mode_t before = umask(022);
  ASSERT_EQ(write(), "ok");
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0644U);
}

// A process that has the old file open continues to read the old file.
TEST_F(metadata, file_is_replaced_and_not_rewritten) {
  set("a", "1");
  ASSERT_EQ(write(), "ok");
  const std::string kept = folder.file("kept");
  ASSERT_EQ(link(file.c_str(), kept.c_str()), 0);
  set("a", "2");
  ASSERT_EQ(write(), "ok");
  EXPECT_EQ(read_file(kept), "a=1\n");
}

TEST_F(metadata, context_without_location_is_refused) {
  metadata_v4_context* const blank = metadata_v4_context_create();
  EXPECT_LT(metadata_v4_metadata_context_load_metadata_from_file(entries, blank), 0);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_LT(metadata_v4_metadata_context_write_metadata_to_file(entries, blank), 0);
  EXPECT_EQ(errno, EINVAL);
  metadata_v4_context_destroy(blank);
}

TEST_F(metadata, refused_location_leaves_the_previous_one) {
  EXPECT_LT(metadata_v4_context_set_file_location(context, "relative"), 0);
  set("a", "1");
  EXPECT_EQ(write(), "ok");
  EXPECT_TRUE(exists(file));
}

TEST_F(metadata, name_that_would_spoil_the_file_is_refused) {
  for (const char* name : {"", "a=b", "a\nb", "a\r"}) {
    EXPECT_LT(metadata_v4_metadata_context_write_entry(entries, name, "x"), 0) << name;
    EXPECT_EQ(errno, EINVAL);
  }
}

TEST(metadata_disk, full_disk_leaves_the_old_file_and_no_other) {
  constexpr int disk_kib = 64;
  qx_test::in_own_mnt(
      [] {
        metadata_v4_context* const context = metadata_v4_context_create();
        metadata_v4_metadata_context* const entries = metadata_v4_metadata_context_create();
        metadata_v4_context_set_file_location(context, "/mnt/film");
        metadata_v4_metadata_context_write_entry(entries, "a", "old");
        EXPECT_EQ(metadata_v4_metadata_context_write_metadata_to_file(entries, context), 0);
        metadata_v4_metadata_context_write_entry(entries, "a", std::string(100000, 'x').c_str());
        EXPECT_LT(metadata_v4_metadata_context_write_metadata_to_file(entries, context), 0);
        EXPECT_EQ(errno, ENOSPC);
        EXPECT_EQ(read_file("/mnt/.film.metadata/metadata"), "a=old\n");
        const std::filesystem::directory_iterator files("/mnt/.film.metadata");
        EXPECT_EQ(std::distance(begin(files), end(files)), 1);
        metadata_v4_metadata_context_destroy(entries);
        metadata_v4_context_destroy(context);
      },
      disk_kib);
}

}  // namespace
