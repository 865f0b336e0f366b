// Setting aside queue files that cannot be read: names, and how many are kept.
#include <filesystem>

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "lifecycle/restart.h"
#include "platform/queue_copies.h"
#include "queue/queue_file.h"
#include "queue/transcode_queue.h"
#include "tests/queue/queue_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::SizeIs;

namespace fs = std::filesystem;

namespace {

// Tries to read an unreadable queue file with this text; returns what was printed.
std::string read_unreadable(const std::string& text) {
  write_file(queue_file_path, text);
  empty_queue();
  return stderr_of([] { read_queue(); });
}

strings copied_texts() {
  strings texts;
  for (const auto& copy : queue_file_copies()) {
    texts.push_back(read_file(copy));
  }
  return texts;
}

std::string copy_of(const char* time) {
  return std::string(queue_file_path) + ".unreadable-" + time;
}

class set_aside : public queue_bench {};

}  // namespace

TEST_F(set_aside, copy_is_named_after_the_time_and_reported) {
  inside([] {
    const auto said = read_unreadable("{");
    const auto copies = queue_file_copies();
    ASSERT_THAT(copies, SizeIs(1));
    EXPECT_THAT(copies[0],
                MatchesRegex("/mnt/main/tv/vod.queue.js.unreadable-20[0-9]{6}T[0-9]{6}Z"));
    EXPECT_THAT(said, HasSubstr("\nQueue file was set aside as " + copies[0] + "\n"));
    EXPECT_FALSE(exists(queue_file_path));
  });
}

TEST_F(set_aside, whatever_would_be_lost_is_copied) {
  inside([] {
    for (const char* text : {"{\"list\": [", "{\"List\": []}", "{\"list\": 5}", "[]"}) {
      read_unreadable(text);
      EXPECT_EQ(copied_texts().back(), text);
    }
  });
}

TEST_F(set_aside, readable_and_missing_files_are_not_copied) {
  inside([] {
    EXPECT_EQ(read_unreadable("{\"list\": []}"), "");
    fs::remove(queue_file_path);
    EXPECT_EQ(stderr_of([] { read_queue(); }), "Unable to open queue file\n");
    EXPECT_THAT(queue_file_copies(), IsEmpty());
  });
}

TEST_F(set_aside, five_latest_are_kept) {
  inside([] {
    for (const char* text : {"1", "2", "3", "4", "5", "6", "7"}) {
      read_unreadable(text);
    }
    EXPECT_THAT(copied_texts(), ElementsAre("3", "4", "5", "6", "7"));
  });
}

TEST_F(set_aside, empty_copies_are_removed_first) {
  inside([] {
    read_unreadable("1");
    for (int i = 0; i < 7; ++i) {
      read_unreadable("");
    }
    EXPECT_THAT(copied_texts(), ElementsAre("1", "", "", "", ""));
  });
}

TEST_F(set_aside, copy_is_the_latest_even_if_the_clock_is_slow) {
  inside([] {
    write_file(copy_of("20991231T235959Z"), "from the future");
    read_unreadable("1");
    EXPECT_EQ(queue_file_copies().back(), copy_of("21000101T000000Z"));
  });
}

TEST_F(set_aside, other_names_are_not_copies) {
  inside([] {
    for (const char* time : {"", "yesterday", "20261122T013005", "20261122T013005Z.old",
                             "20261122 013005Z", "20261322T013005Z"}) {
      write_file(copy_of(time), "kept");
    }
    EXPECT_THAT(queue_file_copies(), IsEmpty());
  });
}

TEST_F(set_aside, others_lose_the_right_to_read_the_copy) {
  inside([] {
    write_file(queue_file_path, "{");
    ASSERT_EQ(chmod(queue_file_path, 0666), 0);
    stderr_of([] { read_queue(); });
    struct stat status {};
    ASSERT_EQ(stat(queue_file_copies().at(0).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
  });
}

// The copy of a link is the link itself: its target belongs to somebody else.
TEST_F(set_aside, link_is_set_aside_and_not_its_target) {
  inside([] {
    write_file("/mnt/target", "{");
    fs::create_symlink("/mnt/target", queue_file_path);
    ASSERT_EQ(chmod("/mnt/target", 0666), 0);
    stderr_of([] { read_queue(); });
    EXPECT_TRUE(fs::is_symlink(queue_file_copies().at(0)));
    struct stat status {};
    ASSERT_EQ(stat("/mnt/target", &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0666U);
  });
}
