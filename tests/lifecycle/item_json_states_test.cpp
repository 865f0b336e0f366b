// Reading the JSON form of an item: state, step of the phase, and the job on a remote server.
#include <gtest/gtest.h>

#include "tests/queue/queue_bench.h"

using namespace qx_test;
using json11::Json;

namespace {

class item_json_states : public queue_bench {};

}  // namespace

TEST_F(item_json_states, state_is_read_by_its_exact_name) {
  for (const char* name : {"Ready", "ready ", "", "no such state"}) {
    QueueItem item;
    EXPECT_TRUE(item.deserialize_json(item_document(name), false)) << name;
    EXPECT_EQ(item.sm.state, TRANSCODE_INIT) << name;
  }
}

TEST_F(item_json_states, step_of_the_phase_is_read) {
  QueueItem item;
  item.deserialize_json(item_document("ready", {{"ready state", "query profiles"}}), false);
  EXPECT_EQ(item.sm.ready.state, READY_QUERY_PROFILES);
  item.deserialize_json(item_document("thumbnail", {{"thumbnail state", "gen"}}), false);
  EXPECT_EQ(item.sm.thumbnail.state, THUMBNAIL_GEN);
  item.deserialize_json(item_document("cleanup", {{"cleanup state", "unlink meta"}}), false);
  EXPECT_EQ(item.sm.cleanup.state, CLEANUP_UNLINK_META);
}

TEST_F(item_json_states, remote_step_and_command_are_read) {
  QueueItem item;
  const json_object keys{{"remote transcode state", "command"},
                         {"remote transcode command", "pause"}};
  ASSERT_TRUE(item.deserialize_json(item_document("remote transcode", keys), false));
  EXPECT_EQ(item.sm.remote.state, REMOTE_COMMAND);
  EXPECT_EQ(item.sm.remote_command, "pause");
}

TEST_F(item_json_states, unknown_step_is_the_first) {
  QueueItem item;
  ASSERT_TRUE(
      item.deserialize_json(item_document("ready", {{"ready state", "Check meta"}}), false));
  EXPECT_EQ(item.sm.ready.state, READY_INIT);
  EXPECT_TRUE(item.sm.ready.initialized);
}

TEST_F(item_json_states, keys_of_another_phase_are_ignored) {
  const json_object keys{{"ready state", "check meta"},
                         {"thumbnail state", "gen"},
                         {"cleanup state", "unlink file"},
                         {"remote transcode state", "monitor"},
                         {"remote transcode command", "pause"}};
  QueueItem item;
  ASSERT_TRUE(item.deserialize_json(item_document("transcoding", keys), false));
  EXPECT_FALSE(item.sm.ready.initialized || item.sm.thumbnail.initialized ||
               item.sm.cleanup.initialized || item.sm.remote.initialized);
  EXPECT_EQ(item.sm.ready.state, READY_INIT);
  EXPECT_EQ(item.sm.remote_command, "");
}

TEST_F(item_json_states, remote_job_is_read) {
  QueueItem item;
  const json_object job{
      {"ip", "server"}, {"name", "name"}, {"entry id", "far"}, {"json", json_object{{"a", 1}}}};
  ASSERT_TRUE(item.deserialize_json(item_document("ready", {{"remote job", job}}), false));
  EXPECT_EQ(item.remote_info.ip, "server");
  EXPECT_EQ(item.remote_info.name, "name");
  EXPECT_EQ(item.remote_info.entry_id, "far");
  EXPECT_EQ(item.remote_info.json["a"], 1);
}

TEST_F(item_json_states, remote_document_must_be_an_object) {
  for (const Json& value : {Json(json_array{1}), Json("x"), Json(5), Json()}) {
    QueueItem item;
    const json_object job{{"entry id", "far"}, {"json", value}};
    ASSERT_TRUE(item.deserialize_json(item_document("ready", {{"remote job", job}}), false));
    EXPECT_TRUE(item.remote_info.json.is_null()) << value.dump();
    EXPECT_EQ(item.remote_info.entry_id, "far");
  }
}

TEST_F(item_json_states, remote_job_stays_unchanged_without_its_key) {
  for (const json_object& keys : {json_object{}, json_object{{"remote job", nullptr}}}) {
    QueueItem item;
    item.remote_info.name = "before";
    ASSERT_TRUE(item.deserialize_json(item_document("ready", keys), false));
    EXPECT_EQ(item.remote_info.name, "before");
  }
}

TEST_F(item_json_states, missing_keys_of_the_remote_job_are_empty) {
  QueueItem item;
  item.remote_info.ip = "before";
  ASSERT_TRUE(item.deserialize_json(item_document("ready", {{"remote job", "text"}}), false));
  EXPECT_TRUE(item.remote_info.empty());
}
