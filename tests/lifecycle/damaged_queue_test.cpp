// Queue files that no service wrote: truncated, filled with garbage, too large, nested too deep, or
// not a file at all. None may crash or hang the service, or be read in part.
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "lifecycle/restart.h"
#include "platform/queue_copies.h"
#include "queue/queue_file.h"
#include "queue/transcode_queue.h"
#include "tests/queue/queue_bench.h"

using namespace qx_test;
using json11::Json;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace {

const Json odd_values[] = {nullptr,
                           true,
                           5,
                           -1e300,
                           1e300,
                           "",
                           "text",
                           std::string("a\0b", 3),
                           json_array{},
                           json_array{nullptr, -1e300},
                           json_array{json_object{}, "x", json_array{}},
                           json_object{},
                           json_object{{"ip", 5}, {"name", nullptr}, {"json", json_array{}}}};

Json full_document() {
  QueueItem item;
  item.deserialize_json(item_document("remote transcode"), false);
  item.fileops_job_id = 7;
  item.quoted_profile = {"720"};
  item.remote_info.json = json_object{{"a", 1}};
  QueueItem::json_object keys;
  item.serialize_json(keys, true);
  return keys;
}

std::string queue_of(const Json& item) {
  return Json(json_object{{"list", json_array{item}}}).dump();
}

// Reads whatever is in the queue file's place and returns what was printed.
std::string read_it() {
  empty_queue();
  return stderr_of([] { EXPECT_TRUE(read_queue()); });
}

std::string read_text(const std::string& text) {
  write_file(queue_file_path, text);
  auto said = read_it();
  for (const auto& copy : queue_file_copies()) {
    fs::remove(copy);  // the disk is small
  }
  return said;
}

void expect_not_read(const std::string& text) {
  EXPECT_THAT(read_text(text), StartsWith("Queue was not read, error "));
  EXPECT_THAT(transcode_queue, IsEmpty());
}

// Unless the text is JSON, it must not be read, for the reason that the parser gives for all of it.
void expect_verdict_of_parser(const std::string& text) {
  std::string error;
  Json::parse(text, error);
  const std::string said = read_text(text);
  if (error.empty()) {
    EXPECT_THAT(said, Not(StartsWith("Queue was not read, error "))) << text;
  } else {
    const std::string line = std::string("Queue was not read, error ") + error.c_str() + "\n";
    EXPECT_THAT(said, StartsWith(line)) << text;
    EXPECT_THAT(transcode_queue, IsEmpty());
  }
}

constexpr const char* dropped_line = "Queue warning, item 1 ";

// Of a queue file with one item: a line if that item was dropped, else none.
void expect_told_if_dropped(const std::string& said, const std::string& what) {
  if (transcode_queue.empty()) {
    EXPECT_THAT(said, AnyOf(IsEmpty(), StartsWith(dropped_line))) << what;
  } else {
    EXPECT_EQ(said, "") << what;
  }
}

// This many nested arrays.
std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

class damaged_queue : public queue_bench {};

}  // namespace

TEST_F(damaged_queue, truncated_anywhere_is_not_read) {
  inside([] {
    const auto text = queue_of(full_document());
    for (std::size_t length = 0; length < text.size(); ++length) {
      expect_verdict_of_parser(text.substr(0, length));
      EXPECT_THAT(transcode_queue, IsEmpty());
    }
    EXPECT_EQ(read_text(text), "");
    EXPECT_EQ(transcode_queue.size(), 1U);
  });
}

TEST_F(damaged_queue, any_byte_may_be_wrong) {
  inside([] {
    const auto text = queue_of(full_document());
    for (std::size_t i = 0; i < text.size(); ++i) {
      for (const char wrong : {'\0', '\xff', '"', '}', '9'}) {
        auto damaged = text;
        damaged[i] = wrong;
        expect_verdict_of_parser(damaged);
        EXPECT_LE(transcode_queue.size(), 1U);
      }
    }
  });
}

TEST_F(damaged_queue, is_refused_in_the_words_of_the_parser) {
  inside([] {
    for (const char* text :
         {R"({"list": [{"entry id": "a)", R"({"list": [{"a":1} {"b":2}]})",
          R"({"list": [{"a":1},]})", R"({"list": [{"a":1},,{"b":2}]})", R"({"list": [{"a":tru]})",
          R"({"list": [{"a" 1}]})", R"({"list": [{"a":1}], "time": 01})", R"({"list": [1}])",
          R"({"list": []} x)", R"({"list": [{"a":1 "b":2}], "other": [)", ""}) {
      expect_verdict_of_parser(text);
      EXPECT_THAT(transcode_queue, IsEmpty()) << text;
    }
  });
}

TEST_F(damaged_queue, is_found_in_members_other_than_the_list) {
  inside([] {
    const std::string list = queue_of(full_document());
    const std::string begin = list.substr(0, list.size() - 1);
    for (const char* other :
         {"[nonsense]", "[1,]", "[{\"a\":1} 2]", "{\"a\":[nonsense]}", "[[1}]", "\"\n\""}) {
      expect_not_read(begin + ", \"other\": " + other + "}");
      expect_verdict_of_parser(begin + ", \"other\": " + other + "}");
    }
    EXPECT_EQ(read_text(begin + ", \"other\": [1, {\"a\": []}]}"), "");
    EXPECT_EQ(transcode_queue.size(), 1U);
  });
}

TEST_F(damaged_queue, any_key_may_be_of_any_type) {
  inside([] {
    const auto document = full_document();
    for (const auto& [key, good] : document.object_items()) {
      for (const auto& odd : odd_values) {
        auto keys = document.object_items();
        keys[key] = odd;
        expect_told_if_dropped(read_text(queue_of(keys)), key + " " + odd.dump());
        EXPECT_TRUE(write_queue());
        expect_told_if_dropped(read_it(), key + " " + odd.dump());
      }
    }
  });
}

TEST_F(damaged_queue, all_keys_may_be_of_any_type_at_once) {
  inside([] {
    for (const auto& odd : odd_values) {
      auto keys = full_document().object_items();
      for (auto& entry : keys) {
        entry.second = odd;
      }
      EXPECT_THAT(read_text(queue_of(keys)), StartsWith(dropped_line)) << odd.dump();
      EXPECT_THAT(transcode_queue, IsEmpty()) << odd.dump();
    }
  });
}

TEST_F(damaged_queue, endless_nesting_is_not_read) {
  inside([] {
    for (const std::size_t depth : {202U, 10000U, 1000000U}) {
      expect_not_read(std::string(depth, '['));
      expect_not_read(nested(depth));
      expect_not_read("{\"list\": " + nested(depth) + "}");
      expect_not_read("{\"list\": [{\"remote job\": {\"json\": {\"a\": " + nested(depth) + "}}}]}");
    }
    std::string objects;
    for (int i = 0; i < 10000; ++i) {
      objects += "{\"list\":";
    }
    expect_not_read(objects);
  });
}

TEST_F(damaged_queue, remote_document_never_makes_it_unreadable) {
  inside([] {
    for (const std::size_t depth : {10U, 194U, 195U, 196U, 198U}) {
      empty_queue();
      auto* const item = new QueueItem;
      ASSERT_TRUE(item->deserialize_json(item_document("done"), false));
      std::string error;
      item->remote_info.json = Json::parse("{\"a\": " + nested(depth) + "}", error);
      ASSERT_TRUE(item->remote_info.json.is_object()) << error;
      transcode_queue.push_back(item);
      EXPECT_TRUE(write_queue());
      EXPECT_EQ(read_it(), "") << depth;
      EXPECT_THAT(entry_ids(), ElementsAre("id")) << depth;
    }
  });
}

TEST_F(damaged_queue, nul_bytes_are_not_a_queue) {
  inside([] {
    expect_not_read(std::string(4096, '\0'));
    expect_not_read(std::string("{\"list\": []}\0", 13));
  });
}

TEST_F(damaged_queue, huge_file_is_not_read) {
  inside([] {
    const int fd = open(queue_file_path, O_WRONLY | O_CREAT, 0644);
    EXPECT_EQ(ftruncate(fd, 1LL << 40), 0);
    close(fd);
    EXPECT_THAT(read_it(), StartsWith("Queue was not read, error "));
    EXPECT_THAT(transcode_queue, IsEmpty());
  });
}

TEST_F(damaged_queue, endless_file_is_not_read) {
  inside([] {
    fs::create_symlink("/dev/zero", queue_file_path);
    EXPECT_THAT(read_it(), StartsWith("Queue was not read, error "));
  });
}

TEST_F(damaged_queue, directory_in_its_place_is_set_aside) {
  inside([] {
    fs::create_directory(queue_file_path);
    EXPECT_THAT(read_it(), StartsWith("Queue was not read, error Is a directory\n"));
    EXPECT_TRUE(write_queue());
    EXPECT_TRUE(fs::is_regular_file(queue_file_path));
  });
}

TEST_F(damaged_queue, fifo_in_its_place_does_not_hang_the_start) {
  inside([] {
    ASSERT_EQ(mkfifo(queue_file_path, 0600), 0);
    EXPECT_THAT(read_it(), StartsWith("Queue was not read, error ")) << "nobody writes";
    ASSERT_EQ(mkfifo(queue_file_path, 0600), 0);
    const int writer = open(queue_file_path, O_RDWR | O_CLOEXEC);
    EXPECT_THAT(read_it(), StartsWith("Queue was not read, error ")) << "a writer says nothing";
    close(writer);
  });
}

TEST_F(damaged_queue, dangling_links_cannot_be_opened) {
  inside([] {
    for (const char* target : {"nowhere", "vod.queue.js"}) {
      fs::remove(queue_file_path);
      fs::create_symlink(target, queue_file_path);
      EXPECT_THAT(stderr_of([] { EXPECT_FALSE(read_queue()); }),
                  StartsWith("Unable to open queue file\n"));
    }
  });
}

TEST_F(damaged_queue, full_queue_of_long_texts_is_read_completely) {
  inside([] {
    json_array items;
    for (int i = 0; i < 512; ++i) {
      items.push_back(item_document("done", {{"entry id", std::to_string(i)},
                                             {"fileops job id", 7},
                                             {"state", std::string(4000, 'x')},
                                             {"transcode profile", std::string(4000, 'y')}}));
    }
    EXPECT_EQ(read_text(Json(json_object{{"list", items}}).dump()), "");
    EXPECT_EQ(transcode_queue.size(), 512U);
  });
}
