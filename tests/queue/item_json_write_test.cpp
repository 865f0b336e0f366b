// Writing the JSON form of an item: the short form for replies and the full one for the queue file.
#include <gmock/gmock.h>

#include "rules/json_text.h"
#include "tests/queue/queue_bench.h"

using namespace qx_test;
using json11::Json;
using ::testing::ElementsAre;

namespace {

Json document_of(const QueueItem& item, bool queue_file) {
  QueueItem::json_object keys;
  item.serialize_json(keys, queue_file);
  return keys;
}

bool has_key(const Json& document, const std::string& key) {
  return document.object_items().count(key) != 0;
}

// Which of the sub-machines' five keys are in the document of an item in this state.
std::vector<std::string> phase_keys(transcode_states state) {
  QueueItem item;
  item.sm.set_state(state);
  const auto document = document_of(item, false);
  std::vector<std::string> keys;
  for (const char* key : {"ready state", "thumbnail state", "cleanup state",
                          "remote transcode state", "remote transcode command"}) {
    if (has_key(document, key)) { keys.emplace_back(key); }
  }
  return keys;
}

// An object with this many levels below it.
Json nested_object(int levels) {
  Json document = 1;
  for (int i = 0; i < levels; ++i) {
    document = json_object{{"a", document}};
  }
  return document;
}

// The parser's message for a queue file with this item.
std::string error_of_queue_file(const QueueItem& item) {
  std::string error;
  const Json file = json_object{{"list", json_array{document_of(item, true)}}};
  Json::parse(file.dump(), error);
  return error;
}

class item_json_write : public queue_bench {};

}  // namespace

TEST_F(item_json_write, short_form_of_a_new_item) {
  QueueItem item;
  item.entry_id = "id";
  const json_object expected{{"entry id", "id"},
                             {"input file", ""},
                             {"output file", ""},
                             {"transcode profile", ""},
                             {"quoted profile", json_array{}},
                             {"fileops job id", -1},
                             {"state", ""},
                             {"transcode state", "init"},
                             {"transcode progress", json_array{0, 10000}},
                             {"delete on finish", false},
                             {"process pid", -1},
                             {"approved", true},
                             {"uploaded", false},
                             {"waiting", false},
                             {"paused", false},
                             {"process argv", json_array{}}};
  EXPECT_EQ(document_of(item, false).dump(), Json(expected).dump());
}

TEST_F(item_json_write, each_key_has_its_field) {
  QueueItem item;
  item.set_input_file(source_file);
  item.set_output_file("/mnt/main/tv/vod/a.mp4");
  item.transcode_profile = "720";
  item.quoted_profile = {"1080", "720"};
  item.fileops_job_id = 17;
  item.state_message = "text";
  item.progress = 1234;
  item.proc_pid = 99;
  item.proc_argv = {"/bin/tool", "argument"};
  item.approved = false;
  const auto document = document_of(item, false);
  item.proc_pid = -1;
  EXPECT_EQ(document["input file"], source_file);
  EXPECT_EQ(document["output file"], "/mnt/main/tv/vod/a.mp4");
  EXPECT_EQ(document["transcode profile"], "720");
  EXPECT_EQ(document["quoted profile"], (json_array{"1080", "720"}));
  EXPECT_EQ(document["fileops job id"], 17);
  EXPECT_EQ(document["state"], "text");
  EXPECT_EQ(document["transcode progress"], (json_array{1234, 10000}));
  EXPECT_EQ(document["process pid"], 99);
  EXPECT_EQ(document["process argv"], (json_array{"/bin/tool", "argument"}));
  EXPECT_EQ(document["approved"], false);
}

TEST_F(item_json_write, each_flag_has_its_key) {
  const std::pair<const char*, bool QueueItem::*> flags[] = {
      {"delete on finish", &QueueItem::delete_on_finish},
      {"uploaded", &QueueItem::uploaded},
      {"waiting", &QueueItem::waiting},
      {"paused", &QueueItem::paused},
      {"user wants to pause", &QueueItem::user_wants_pause},
      {"user wants to remove", &QueueItem::user_wants_remove},
      {"user wants to cancel", &QueueItem::user_wants_cancel}};
  for (const auto& [key, flag] : flags) {
    QueueItem item;
    item.*flag = true;
    for (const auto& [other_key, other_flag] : flags) {
      EXPECT_EQ(document_of(item, true)[other_key], Json(other_flag == flag)) << key << other_key;
    }
  }
}

TEST_F(item_json_write, users_wishes_are_only_in_the_queue_file) {
  const QueueItem item;
  const auto full = document_of(item, true);
  const auto brief = document_of(item, false);
  for (const char* key : {"user wants to pause", "user wants to remove", "user wants to cancel"}) {
    EXPECT_TRUE(has_key(full, key)) << key;
    EXPECT_FALSE(has_key(brief, key)) << key;
  }
  EXPECT_EQ(full.object_items().size(), brief.object_items().size() + 3);
}

TEST_F(item_json_write, keys_of_a_phase_are_only_written_during_it) {
  EXPECT_THAT(phase_keys(TRANSCODE_READY), ElementsAre("ready state"));
  EXPECT_THAT(phase_keys(TRANSCODE_THUMBNAIL), ElementsAre("thumbnail state"));
  EXPECT_THAT(phase_keys(TRANSCODE_CLEANUP), ElementsAre("cleanup state"));
  EXPECT_THAT(phase_keys(TRANSCODE_REMOTE),
              ElementsAre("remote transcode state", "remote transcode command"));
  for (const auto state : {TRANSCODE_INIT, TRANSCODE_CANCELLED, TRANSCODE_CANCELLING,
                           TRANSCODE_TRANSCODING, TRANSCODE_DONE, TRANSCODE_CLEARED}) {
    EXPECT_THAT(phase_keys(state), ElementsAre()) << state;
  }
}

TEST_F(item_json_write, step_of_the_phase_is_named) {
  QueueItem item;
  item.sm.set_state(TRANSCODE_THUMBNAIL);
  item.sm.thumbnail.set_state(THUMBNAIL_METADATA_GEN);
  EXPECT_EQ(document_of(item, false)["thumbnail state"], "metadata gen");
  item.sm.set_state(TRANSCODE_REMOTE);
  item.sm.remote.set_state(REMOTE_COMMAND);
  item.sm.remote_command = "pause";
  EXPECT_EQ(document_of(item, false)["remote transcode state"], "command");
  EXPECT_EQ(document_of(item, false)["remote transcode command"], "pause");
}

TEST_F(item_json_write, state_out_of_range_has_an_empty_name) {
  QueueItem item;
  item.sm.state = static_cast<transcode_states>(10);
  EXPECT_EQ(document_of(item, true)["transcode state"], "");
}

TEST_F(item_json_write, remote_job_is_left_out_when_empty) {
  QueueItem item;
  EXPECT_FALSE(has_key(document_of(item, true), "remote job"));
  item.remote_info.name = "name";
  EXPECT_TRUE(has_key(document_of(item, true), "remote job"));
}

TEST_F(item_json_write, reply_only_has_the_remote_entry_id) {
  QueueItem item;
  item.remote_info.ip = "server";
  item.remote_info.name = "name";
  item.remote_info.json = json_object{{"a", 1}};
  EXPECT_EQ(document_of(item, false)["remote job"], Json(json_object{{"entry id", ""}}));
}

TEST_F(item_json_write, queue_file_keeps_the_whole_remote_job) {
  QueueItem item;
  item.remote_info.ip = "server";
  item.remote_info.name = "name";
  item.remote_info.entry_id = "far";
  item.remote_info.json = json_object{{"a", 1}};
  const json_object expected{
      {"ip", "server"}, {"name", "name"}, {"entry id", "far"}, {"json", json_object{{"a", 1}}}};
  EXPECT_EQ(document_of(item, true)["remote job"], Json(expected));
}

TEST_F(item_json_write, remote_document_other_than_an_object_is_left_out) {
  QueueItem item;
  item.remote_info.json = json_array{1};
  const json_object expected{{"ip", ""}, {"name", ""}, {"entry id", ""}};
  EXPECT_EQ(document_of(item, true)["remote job"], Json(expected));
}

TEST_F(item_json_write, remote_document_of_any_readable_depth_is_kept) {
  QueueItem item;
  item.remote_info.json = nested_object(196);
  EXPECT_EQ(document_of(item, true)["remote job"]["json"], item.remote_info.json);
  EXPECT_EQ(error_of_queue_file(item), "");
}

TEST_F(item_json_write, remote_document_that_would_make_the_queue_file_unreadable_is_left_out) {
  QueueItem item;
  item.remote_info.json = nested_object(197);
  EXPECT_FALSE(has_key(document_of(item, true)["remote job"], "json"));
  EXPECT_EQ(error_of_queue_file(item), "");
}

TEST_F(item_json_write, existing_keys_are_replaced_and_others_kept) {
  QueueItem::json_object keys{{"entry id", "old"}, {"mine", 1}};
  QueueItem item;
  item.entry_id = "new";
  item.serialize_json(keys, false);
  EXPECT_EQ(keys["entry id"], "new");
  EXPECT_EQ(keys["mine"], 1);
}

TEST_F(item_json_write, text_is_appended) {
  const QueueItem item;
  std::string text = "before ";
  item.serialize_to_string(text, true);
  EXPECT_EQ(text, "before " + document_of(item, true).dump());
}

TEST_F(item_json_write, text_is_what_the_library_writes_in_every_state) {
  QueueItem item;
  item.proc_argv = {"/bin/tool", "-x"};
  item.quoted_profile = {"1080", "720"};
  item.remote_info.ip = "10.0.0.1";
  item.remote_info.json = nested_object(3);
  for (unsigned state = TRANSCODE_INIT; state < transcode_states_count; ++state) {
    item.sm.set_state(static_cast<transcode_states>(state));
    for (const bool queue_file : {false, true}) {
      std::string text;
      item.serialize_to_string(text, queue_file);
      EXPECT_EQ(text, document_of(item, queue_file).dump());
    }
  }
}

TEST_F(item_json_write, text_is_what_the_library_writes_for_every_byte) {
  QueueItem item;
  for (int byte = 0; byte < 256; ++byte) {
    item.state_message = std::string("a") + static_cast<char>(byte) + "z";
    item.quoted_profile = {item.state_message, "\xe2\x80\xa8"};
    std::string text;
    item.serialize_to_string(text, false);
    EXPECT_EQ(text, json_text(document_of(item, false))) << byte;
  }
}
