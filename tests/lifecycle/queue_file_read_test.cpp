// Reading the queue file at start: what happens to each item, and the resulting order.
#include <filesystem>

#include <gmock/gmock.h>

#include "lifecycle/restart.h"
#include "queue/queue_file.h"
#include "queue/transcode_queue.h"
#include "tests/lifecycle/item_answers.h"
#include "tests/queue/queue_bench.h"
#include "tests/support/status_writes.h"

using namespace qx_test;
using json11::Json;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace {

constexpr const char* user_resumes_text = "Transcoding will restart when user resumes this job";

Json stored(const char* id, const char* state, json_object more = {}) {
  more.emplace("entry id", id);
  more.emplace("state", "stored text");
  fs::create_directories(job_directory(7));
  more.emplace("fileops job id", 7);
  return item_document(state, more);
}

// Reads a queue of these items and expects nothing to be printed.
void read_items(const json_array& items) {
  write_file(queue_file_path, Json(json_object{{"list", items}}).dump());
  EXPECT_EQ(stderr_of([] { EXPECT_TRUE(read_queue()); }), "");
}

// Reads a file with this text into an empty queue and returns what was printed.
std::string read_text(const std::string& text) {
  write_file(queue_file_path, text);
  auto said = stderr_of([] { EXPECT_TRUE(read_queue()) << "though nothing was in it"; });
  EXPECT_THAT(transcode_queue, IsEmpty());
  return said;
}

// The text of an interrupted transcode with these flags after it is read back.
QueueItem& read_interrupted(const json_object& flags) {
  read_items({stored("ready", "ready"), stored("interrupted", "transcoding", flags)});
  return **transcode_queue_find_entry_id_iterator("interrupted");
}

class queue_file_read : public queue_bench {
protected:
  ~queue_file_read() override { readiness = {}; }
};

}  // namespace

TEST_F(queue_file_read, queue_must_be_empty) {
  inside([] {
    write_file(queue_file_path, "{}");
    transcode_queue.push_back(new QueueItem);
    const auto said = stderr_of([] { EXPECT_FALSE(read_queue()); });
    EXPECT_EQ(said, "BUG: Asked to read queue when queue is not empty\n");
    EXPECT_EQ(transcode_queue.size(), 1U);
  });
}

TEST_F(queue_file_read, missing_file) {
  inside([] {
    const auto said = stderr_of([] { EXPECT_FALSE(read_queue()); });
    EXPECT_EQ(said, "Unable to open queue file\n");
  });
}

TEST_F(queue_file_read, text_other_than_json) {
  inside([] {
    for (const char* text : {"", "{", "no json", "{\"list\": []} and more", "{'list': []}",
                             "// comment\n{\"list\": []}", "{\"list\": [,]}"}) {
      EXPECT_THAT(read_text(text), AllOf(StartsWith("Queue was not read, error "), EndsWith("\n")))
          << text;
    }
    std::string error;
    Json::parse("{", error);
    EXPECT_THAT(read_text("{"), StartsWith("Queue was not read, error " + error + "\n"));
  });
}

TEST_F(queue_file_read, json_null_is_not_a_queue) {
  inside([] { EXPECT_THAT(read_text("null"), StartsWith("Queue was not read, error \n")); });
}

TEST_F(queue_file_read, document_without_a_list) {
  inside([] {
    for (const char* text : {"{}", "{\"list\": null}", "{\"List\": []}", "[]", "5", "\"list\""}) {
      EXPECT_THAT(read_text(text), StartsWith("Queue warning, list was empty\n")) << text;
    }
  });
}

TEST_F(queue_file_read, list_other_than_an_array) {
  inside([] {
    for (const char* text : {"{\"list\": {}}", "{\"list\": 5}", "{\"list\": \"x\"}",
                             "{\"list\": false}", "{\"list\": {\"0\": {}}}"}) {
      EXPECT_THAT(read_text(text), StartsWith("Queue warning, list was not array\n")) << text;
    }
  });
}

TEST_F(queue_file_read, empty_list_is_read_silently) {
  inside([] { EXPECT_EQ(read_text("{\"list\": []}"), ""); });
}

TEST_F(queue_file_read, refused_elements_are_skipped) {
  inside([] {
    const json_array items = {5,
                              nullptr,
                              "x",
                              json_array{},
                              json_object{},
                              stored("a", "init"),
                              stored("b", "done"),
                              stored("", "done"),
                              stored("c", "cancelled")};
    write_file(queue_file_path, Json(json_object{{"list", items}}).dump());
    stderr_of(read_queue);
    EXPECT_THAT(entry_ids(), ElementsAre("b", "c"));
    EXPECT_EQ(transcode_queue_mod_count, 2U) << "only what was accepted counts";
  });
}

TEST_F(queue_file_read, interrupted_transcodes_come_first_in_reverse_order) {
  inside([] {
    read_items({stored("r1", "ready"), stored("A", "transcoding"), stored("d", "done"),
                stored("B", "transcoding"), stored("r2", "ready")});
    EXPECT_THAT(entry_ids(), ElementsAre("B", "A", "r1", "d", "r2"));
    EXPECT_EQ(transcode_queue_mod_count, 5U);
  });
}

TEST_F(queue_file_read, interrupted_transcode_goes_to_the_start_of_ready) {
  inside([] {
    const QueueItem& item = read_interrupted({});
    EXPECT_EQ(item.sm.state, TRANSCODE_READY);
    EXPECT_EQ(item.sm.ready.state, READY_INIT);
    EXPECT_EQ(item.state_message, "Transcoding will restart, waiting for turn");
    EXPECT_THAT(entry_ids(), ElementsAre("interrupted", "ready"));
    EXPECT_THAT(lines_of(read_file(job_directory(7) + "/status")),
                Contains("state=Transcoding will restart, waiting for turn"));
  });
}

TEST_F(queue_file_read, interrupted_transcode_that_was_waiting_goes_to_the_back) {
  inside([] {
    const QueueItem& item = read_interrupted({{"waiting", true}});
    EXPECT_EQ(item.state_message, "Transcoding will restart, item was interrupted");
    EXPECT_TRUE(item.waiting);
    EXPECT_THAT(entry_ids(), ElementsAre("ready", "interrupted"));
  });
}

TEST_F(queue_file_read, interrupted_transcode_that_was_paused_goes_to_the_back) {
  inside([] {
    const QueueItem& item = read_interrupted({{"paused", true}, {"waiting", true}});
    EXPECT_EQ(item.state_message, user_resumes_text);
    EXPECT_TRUE(item.paused);
    EXPECT_EQ(item.sm.state, TRANSCODE_READY);
    EXPECT_THAT(entry_ids(), ElementsAre("ready", "interrupted"));
  });
}

TEST_F(queue_file_read, interrupted_transcode_without_approval_goes_to_the_back) {
  inside([] {
    const QueueItem& item = read_interrupted({{"approved", false}});
    EXPECT_EQ(item.state_message, "Transcoding will restart, waiting for turn");
    EXPECT_THAT(entry_ids(), ElementsAre("ready", "interrupted"));
  });
}

TEST_F(queue_file_read, interrupted_transcode_that_fails_its_second_check_is_cancelled) {
  inside([] {
    int checks = 0;
    readiness.validate_ready = [&checks] { return ++checks == 3 ? 0 : 1; };
    const QueueItem& item = read_interrupted({});
    EXPECT_EQ(checks, 3);
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_EQ(item.state_message, "Unable to resume transcode");
    EXPECT_THAT(entry_ids(), ElementsAre("ready", "interrupted"));
  });
}

TEST_F(queue_file_read, interrupted_transcode_that_cannot_become_ready_is_cancelled) {
  inside([] {
    readiness.ready = [] { return false; };
    const QueueItem& item = read_interrupted({});
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
    EXPECT_EQ(item.state_message, "Unable to resume transcode");
    EXPECT_EQ(status_writes.back(), "cancelled: Unable to resume transcode");
    EXPECT_THAT(entry_ids(), ElementsAre("ready", "interrupted"));
  });
}

TEST_F(queue_file_read, interrupted_transcode_whose_source_is_gone_is_cancelled_in_its_place) {
  inside([] {
    fs::remove(source_file);
    read_items({stored("d", "done"), stored("A", "transcoding")});
    EXPECT_THAT(entry_ids(), ElementsAre("d", "A"));
    EXPECT_EQ(transcode_queue.back()->sm.state, TRANSCODE_CANCELLED);
    EXPECT_EQ(transcode_queue.back()->state_message, "Rejected: File has disappeared");
  });
}

TEST_F(queue_file_read, ready_item_is_shown_as_ready_or_paused) {
  inside([] {
    read_items({stored("a", "ready", {{"ready state", "ready to transcode"}}),
                stored("b", "ready", {{"paused", true}})});
    EXPECT_EQ(transcode_queue.front()->state_message, "Ready");
    EXPECT_EQ(transcode_queue.front()->sm.ready.state, READY_READY_TO_TRANSCODE);
    EXPECT_EQ(transcode_queue.back()->state_message, user_resumes_text);
    EXPECT_THAT(entry_ids(), ElementsAre("a", "b"));
    EXPECT_THAT(status_writes, Contains("ready: Ready"));
    EXPECT_EQ(status_writes.back(), std::string("ready: ") + user_resumes_text);
  });
}

TEST_F(queue_file_read, every_other_item_stays_unchanged) {
  inside([] {
    for (const char* state :
         {"cancelled", "cancelling", "remote transcode", "thumbnail", "cleanup", "done"}) {
      read_items({stored("a", state)});
      EXPECT_STREQ(transcode_queue.front()->sm.state_name(), state);
      EXPECT_EQ(transcode_queue.front()->state_message, "stored text") << state;
      empty_queue();
    }
  });
}

TEST_F(queue_file_read, written_queue_is_read_back) {
  inside([] {
    read_items({stored("a", "thumbnail", {{"thumbnail state", "metadata gen"}}),
                stored("b", "cancelled"), stored("c", "done")});
    EXPECT_TRUE(write_queue());
    const auto first = read_file(queue_file_path);
    empty_queue();
    EXPECT_TRUE(read_queue());
    EXPECT_TRUE(write_queue());
    std::string error;
    EXPECT_EQ(Json::parse(read_file(queue_file_path), error)["list"],
              Json::parse(first, error)["list"]);
  });
}
