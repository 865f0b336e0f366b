// Writing the queue file.
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "queue/queue_file.h"
#include "queue/transcode_queue.h"
#include "tests/queue/queue_bench.h"
#include "tests/support/skip.h"

using namespace qx_test;
using json11::Json;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace {

QueueItem& add_item(const char* id, transcode_states state) {
  auto* const item = new QueueItem;
  item->entry_id = id;
  item->sm.set_state(state);
  transcode_queue.push_back(item);
  return *item;
}

Json written_queue() {
  std::string error;
  return Json::parse(read_file(queue_file_path), error);
}

strings written_ids() {
  strings ids;
  const auto document = written_queue();
  for (const auto& item : document["list"].array_items()) {
    ids.push_back(item["entry id"].string_value());
  }
  return ids;
}

mode_t mode_of(const char* path) {
  struct stat status {};
  return stat(path, &status) == 0 ? status.st_mode & 07777U : 0;
}

class queue_file_write : public queue_bench {};

}  // namespace

TEST_F(queue_file_write, items_are_in_queue_order) {
  inside([] {
    add_item("a", TRANSCODE_DONE);
    add_item("b", TRANSCODE_READY);
    add_item("c", TRANSCODE_CANCELLED);
    EXPECT_TRUE(write_queue());
    EXPECT_THAT(written_ids(), ElementsAre("a", "b", "c"));
  });
}

TEST_F(queue_file_write, new_and_cleared_items_and_null_entries_are_left_out) {
  inside([] {
    add_item("a", TRANSCODE_INIT);
    add_item("b", TRANSCODE_CLEARED);
    transcode_queue.push_back(nullptr);
    EXPECT_TRUE(write_queue());
    EXPECT_THAT(read_file(queue_file_path), StartsWith("{\"list\": [], \"time\": \""));
    for (const auto state : all_states) {
      add_item(transcode_states__str[state], state);
    }
    EXPECT_TRUE(write_queue());
    EXPECT_THAT(written_ids(), ElementsAre("cancelled", "cancelling", "ready", "remote transcode",
                                           "transcoding", "thumbnail", "cleanup", "done"));
  });
}

TEST_F(queue_file_write, items_have_their_full_form) {
  inside([] {
    QueueItem& item = add_item("a", TRANSCODE_READY);
    item.user_wants_pause = true;
    item.remote_info.ip = "server";
    QueueItem::json_object full;
    item.serialize_json(full, true);
    EXPECT_TRUE(write_queue());
    EXPECT_EQ(written_queue()["list"][0], Json(full));
  });
}

TEST_F(queue_file_write, is_one_line_without_a_line_feed) {
  inside([] {
    add_item("a", TRANSCODE_READY).state_message = "two\nlines";
    EXPECT_TRUE(write_queue());
    const auto text = read_file(queue_file_path);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_THAT(text, EndsWith("\"}"));
  });
}

TEST_F(queue_file_write, is_written_in_one_piece_and_replaces_the_old_one) {
  inside([] {
    write_file(queue_file_path, "the old one");
    for (int i = 0; i < 100; ++i) {
      add_item("a", TRANSCODE_READY).state_message = std::string(4000, 'x');
    }
    strings calls;
    calls_noted = &calls;
    EXPECT_TRUE(write_queue());
    calls_noted = nullptr;
    EXPECT_THAT(calls,
                ElementsAre("write " + std::to_string(read_file(queue_file_path).size()),
                            StartsWith("close "), std::string("replace ") + queue_file_path));
  });
}

TEST_F(queue_file_write, has_the_local_time) {
  inside([] {
    setenv("TZ", "XYZ-5", 1);
    const time_t before = time(nullptr);
    EXPECT_TRUE(write_queue());
    const auto text = written_queue()["time"].string_value();
    EXPECT_THAT(text, MatchesRegex("[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] "
                                   "[0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}"));
    struct tm parts {};
    strptime(text.c_str(), "%a %b %d %H:%M:%S %Y", &parts);
    EXPECT_NEAR(static_cast<double>(timegm(&parts) - time_t{5} * 3600), static_cast<double>(before),
                5.0);
  });
}

TEST_F(queue_file_write, reader_of_the_old_file_keeps_it) {
  inside([] {
    write_file(queue_file_path, "the old one");
    std::ifstream reader(queue_file_path);
    EXPECT_TRUE(write_queue());
    std::string old_text;
    std::getline(reader, old_text);
    EXPECT_EQ(old_text, "the old one");
    EXPECT_THAT(read_file(queue_file_path), StartsWith("{\"list\""));
    EXPECT_FALSE(exists(std::string(queue_file_path) + ".tmp"));
  });
}

TEST_F(queue_file_write, leftover_of_a_crash_is_overwritten_completely) {
  inside([] {
    write_file(std::string(queue_file_path) + ".tmp", std::string(100000, 'x'));
    EXPECT_TRUE(write_queue());
    EXPECT_THAT(read_file(queue_file_path), EndsWith("\"}"));
  });
}

TEST_F(queue_file_write, old_file_stays_when_the_temporary_file_cannot_be_made) {
  inside([] {
    write_file(queue_file_path, "the old one");
    fs::create_directory(std::string(queue_file_path) + ".tmp");
    EXPECT_EQ(stderr_of([] { EXPECT_FALSE(write_queue()); }), "");
    EXPECT_EQ(read_file(queue_file_path), "the old one");
  });
}

TEST_F(queue_file_write, missing_folder_fails) {
  inside([] {
    fs::remove_all("/mnt/main/tv");
    EXPECT_FALSE(write_queue());
  });
}

TEST_F(queue_file_write, failed_write_goes_unnoticed) {
  inside([] {
    write_file(queue_file_path, "the old one");
    std::ofstream filler("/mnt/filler");
    while (filler << std::string(65536, 'x') << std::flush) {}
    add_item("a", TRANSCODE_READY).state_message = std::string(100000, 'x');
    EXPECT_TRUE(write_queue());
    EXPECT_LT(fs::file_size(queue_file_path), 100000U) << "the rename is done all the same";
  });
}

TEST_F(queue_file_write, anything_in_place_of_the_temporary_file_is_removed) {
  inside([] {
    const std::string temporary = std::string(queue_file_path) + ".tmp";
    write_file("/mnt/precious", "precious");
    fs::create_symlink("/mnt/precious", temporary);
    EXPECT_TRUE(write_queue());
    ASSERT_EQ(mkfifo(temporary.c_str(), 0600), 0);
    EXPECT_TRUE(write_queue());
    EXPECT_TRUE(fs::is_regular_file(queue_file_path));
    EXPECT_EQ(read_file("/mnt/precious"), "precious");
  });
}

TEST_F(queue_file_write, is_readable_by_few) {
  inside([] {
    struct rights {
      mode_t old_mode;
      mode_t umask;
      mode_t expected;
    };
    for (const auto& [old_mode, mask, expected] :
         {rights{0, 0, 0640}, rights{0666, 0, 0640}, rights{0640, 027, 0640},
          rights{0644, 077, 0600}, rights{0600, 0, 0600}, rights{0400, 0, 0400}}) {
      fs::remove(queue_file_path);
      if (old_mode != 0) {
        write_file(queue_file_path, "the old one");
        ASSERT_EQ(chmod(queue_file_path, old_mode), 0);
      }
      const mode_t saved = umask(mask);
      EXPECT_TRUE(write_queue());
      EXPECT_EQ(umask(saved), mask) << "the umask stays";
      EXPECT_EQ(mode_of(queue_file_path), expected) << std::oct << old_mode << " " << mask;
    }
  });
}

TEST_F(queue_file_write, only_its_folders_group_may_read_it) {
  inside([] {
    if (chown("/mnt/main/tv", 0, 12345) != 0) {
      QX_SKIP_OR_FAIL_IN_CI("one group is all there is here");
    }
    EXPECT_TRUE(write_queue());
    EXPECT_EQ(mode_of(queue_file_path), 0600U);
  });
}
