// The parts of "report": names, items of the queue file, files that replace nothing.
#include <cerrno>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/platform/test_folder.h"
#include "tests/support/files.h"
#include "tools/qx_vod_ctl/bug_report/bug_report.h"
#include "tools/qx_vod_ctl/bug_report/new_file.h"
#include "tools/qx_vod_ctl/bug_report/stored_item.h"
#include "tools/qx_vod_ctl/private_folder.h"
#include "tools/qx_vod_ctl/text_file.h"

using qx_test::read_file;
using qx_test::test_folder;
using ::testing::StartsWith;

namespace {

constexpr const char* queue = R"({"list": [{"entry id": "abcd", "fileops job id": 7},
                                           {"entry id": "abce", "fileops job id": 12},
                                           {"entry id": "abc", "fileops job id": -1}]})";

std::string found_id(const std::string& given, std::string* error = nullptr) {
  std::string cause;
  const json11::Json item = find_stored_item(queue, given, cause);
  if (error != nullptr) { *error = cause; }
  return item["entry id"].string_value();
}

std::ptrdiff_t entries_of(const std::string& folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

}  // namespace

TEST(ctl_bug_report_name, contains_short_id_and_time) {
  EXPECT_EQ(report_name("12345678-abcd-efab-cdef-1234567890ab", 1767225599),
            "qx_vod_report-12345678-20251231-235959");
}

TEST(ctl_bug_report_name, of_an_odd_id_is_a_plain_file_name) {
  EXPECT_EQ(report_name("../\xc3\xa9 x", 0), "qx_vod_report-------x-19700101-000000");
  EXPECT_EQ(report_name("", 0), "qx_vod_report--19700101-000000");
}

TEST(ctl_bug_report_stored_item, is_found_by_id_prefix_and_job_number) {
  EXPECT_EQ(found_id("abcd"), "abcd");
  EXPECT_EQ(found_id("abce"), "abce");
  EXPECT_EQ(found_id("abc"), "abc") << "a whole id wins over longer ones";
  EXPECT_EQ(found_id("job:12"), "abce");
}

TEST(ctl_bug_report_stored_item, is_not_guessed) {
  std::string error;
  EXPECT_EQ(found_id("ab", &error), "");
  EXPECT_EQ(error, "matches several jobs in the queue file");
  EXPECT_EQ(found_id("x", &error), "");
  EXPECT_EQ(error, "not in the queue file");
  EXPECT_EQ(found_id(""), "");
  EXPECT_EQ(found_id("job:1"), "");
}

TEST(ctl_bug_report_stored_item, is_not_found_in_a_damaged_file) {
  std::string error;
  EXPECT_TRUE(find_stored_item("{\"list\": [", "a", error).is_null());
  EXPECT_TRUE(find_stored_item("", "a", error).is_null());
}

TEST(ctl_bug_report_file, is_readable_only_by_its_owner) {
  const test_folder folder;
  std::string error;
  ASSERT_TRUE(write_new_file(folder.file("new"), "content", error)) << error;
  EXPECT_EQ(read_file(folder.file("new")), "content");
  struct stat status = {};
  ASSERT_EQ(stat(folder.file("new").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  EXPECT_EQ(entries_of(folder.path()), 1);
}

TEST(ctl_bug_report_file, replaces_nothing) {
  const test_folder folder;
  qx_test::write_file(folder.file("old"), "old");
  ASSERT_EQ(symlink("nowhere", folder.file("link").c_str()), 0);
  std::string error;
  EXPECT_FALSE(write_new_file(folder.file("old"), "new", error));
  EXPECT_EQ(error, "File exists");
  EXPECT_FALSE(write_new_file(folder.file("link"), "new", error));
  EXPECT_EQ(read_file(folder.file("old")), "old");
  EXPECT_EQ(entries_of(folder.path()), 2) << "nothing unfinished is left";
  EXPECT_TRUE(is_taken(folder.file("link")));
}

TEST(ctl_bug_report_file, without_its_folder_is_a_failure) {
  std::string error;
  EXPECT_FALSE(write_new_file("/nowhere/at/all", "new", error));
  EXPECT_EQ(error, "No such file or directory");
}

TEST(ctl_private_folder, is_accessible_only_by_its_owner_and_removed_with_its_contents) {
  std::string path;
  {
    private_folder folder;
    std::string error;
    ASSERT_TRUE(folder.create(error)) << error;
    path = folder.path();
    ASSERT_TRUE(folder.write("a/b/c", "secret", error)) << error;
    EXPECT_FALSE(folder.write("a/b/c", "again", error)) << "a part is written once";
    struct stat status = {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    ASSERT_EQ(stat((path + "/a/b/c").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
  }
  EXPECT_FALSE(is_taken(path));
}

TEST(ctl_text_file, too_large_one_is_reported_with_its_beginning) {
  const test_folder folder;
  qx_test::write_file(folder.file("a"), "12345");
  EXPECT_EQ(read_text_file(folder.file("a"), 5).error, 0);
  const auto cut = read_text_file(folder.file("a"), 4);
  EXPECT_EQ(cut.error, EFBIG);
  EXPECT_EQ(cut.text, "1234");
}

TEST(ctl_text_file, folder_and_fifo_are_not_regular_files) {
  const test_folder folder;
  ASSERT_EQ(mkfifo(folder.file("fifo").c_str(), 0600), 0);
  EXPECT_EQ(read_text_file(folder.file("fifo"), 4).cause(), "is not a regular file");
  EXPECT_EQ(read_text_file(folder.path(), 4).cause(), "is not a regular file");
  EXPECT_TRUE(read_text_file(folder.file("absent"), 4).missing());
}
