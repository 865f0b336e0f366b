// Reading the JSON form of an item as from a remote server's document: every key, odd values too.
#include <filesystem>

#include <gmock/gmock.h>

#include "platform/sliding_window_v4.h"
#include "tests/queue/queue_bench.h"
#include "tests/support/status_writes.h"

using namespace qx_test;
using json11::Json;
using ::testing::ElementsAre;

namespace fs = std::filesystem;

namespace {

// Whether an item accepts the document.
bool is_taken(const Json& document) {
  return QueueItem().deserialize_json(document, false);
}

std::int32_t progress_read(const Json& value) {
  QueueItem item;
  item.progress = 77;
  EXPECT_TRUE(
      item.deserialize_json(item_document("transcoding", {{"transcode progress", value}}), false));
  return item.progress;
}

// The value of a flag, initially `before`, after reading a JSON value.
bool flag_read(const std::string& key, bool QueueItem::*flag, const Json& value, bool before) {
  QueueItem item;
  item.*flag = before;
  EXPECT_TRUE(item.deserialize_json(item_document("transcoding", {{key, value}}), false));
  return item.*flag;
}

class item_json_read : public queue_bench {};

}  // namespace

TEST_F(item_json_read, progress_is_a_pair_in_ten_thousandths) {
  EXPECT_EQ(progress_read(json_array{5, 10}), 5000);
  EXPECT_EQ(progress_read(json_array{20, 10}), 10000);
  EXPECT_EQ(progress_read(json_array{-3, 10}), 0);
  EXPECT_EQ(progress_read(json_array{7}), 7);
  EXPECT_EQ(progress_read(json_array{1, 0}), 10000);
  EXPECT_EQ(progress_read(json_array{1, -5}), 10000);
  EXPECT_EQ(progress_read(json_array{1, 3}), 3333);
  EXPECT_EQ(progress_read(json_array{9998, 9999}), 9998);
  EXPECT_EQ(progress_read(json_array{}), 0);
  EXPECT_EQ(progress_read(json_array{12000}), 10000);
  EXPECT_EQ(progress_read(json_array{1234, 20000}), 1234);
  EXPECT_EQ(progress_read(json_array{5.9, 10}), 5000);
  EXPECT_EQ(progress_read(json_array{"5", 10}), 0);
}

TEST_F(item_json_read, progress_as_a_number_is_percent) {
  EXPECT_EQ(progress_read(42.5), 4250);
  EXPECT_EQ(progress_read(1.239), 123);
  EXPECT_EQ(progress_read(-1), -100);
  EXPECT_EQ(progress_read(250), 25000);
}

TEST_F(item_json_read, progress_of_any_other_type_is_zero) {
  EXPECT_EQ(progress_read("50"), 0);
  EXPECT_EQ(progress_read(nullptr), 0);
  EXPECT_EQ(progress_read(true), 0);
  EXPECT_EQ(progress_read(json_object{}), 0);
}

TEST_F(item_json_read, flags_accept_booleans_and_numbers) {
  const std::pair<const char*, bool QueueItem::*> flags[] = {
      {"approved", &QueueItem::approved},
      {"waiting", &QueueItem::waiting},
      {"user wants to remove", &QueueItem::user_wants_remove},
      {"user wants to cancel", &QueueItem::user_wants_cancel},
      {"user wants to pause", &QueueItem::user_wants_pause},
      {"paused", &QueueItem::paused},
      {"delete on finish", &QueueItem::delete_on_finish}};
  for (const auto& [key, flag] : flags) {
    for (const Json& value : {Json(true), Json(1), Json(2), Json(1.5)}) {
      EXPECT_TRUE(flag_read(key, flag, value, false)) << key << value.dump();
    }
    for (const Json& value : {Json(false), Json(0), Json(-1), Json(0.5)}) {
      EXPECT_FALSE(flag_read(key, flag, value, true)) << key << value.dump();
    }
    for (const Json& value : {Json("yes"), Json("0"), Json(), Json(json_array{true})}) {
      EXPECT_TRUE(flag_read(key, flag, value, true)) << key << value.dump();
      EXPECT_FALSE(flag_read(key, flag, value, false)) << key << value.dump();
    }
  }
}

TEST_F(item_json_read, approved_stays_set_without_its_key) {
  QueueItem item;
  ASSERT_TRUE(item.deserialize_json(item_document("transcoding"), false));
  EXPECT_TRUE(item.approved);
}

TEST_F(item_json_read, uploaded_accepts_only_booleans) {
  EXPECT_TRUE(flag_read("uploaded", &QueueItem::uploaded, true, false));
  EXPECT_FALSE(flag_read("uploaded", &QueueItem::uploaded, false, true));
  for (const Json& value : {Json(1), Json(0), Json("true"), Json()}) {
    EXPECT_FALSE(flag_read("uploaded", &QueueItem::uploaded, value, false)) << value.dump();
    EXPECT_TRUE(flag_read("uploaded", &QueueItem::uploaded, value, true)) << value.dump();
  }
}

TEST_F(item_json_read, item_needs_an_entry_id) {
  EXPECT_TRUE(is_taken(item_document("ready")));
  for (const Json& id : {Json(""), Json(), Json(5), Json(json_array{"id"})}) {
    EXPECT_FALSE(is_taken(item_document("ready", {{"entry id", id}}))) << id.dump();
  }
}

TEST_F(item_json_read, entry_id_ends_at_a_nul) {
  QueueItem item;
  const std::string id("id\0rest", 7);
  ASSERT_TRUE(item.deserialize_json(item_document("ready", {{"entry id", id}}), false));
  EXPECT_EQ(item.entry_id, "id");
  EXPECT_FALSE(is_taken(item_document("ready", {{"entry id", std::string("\0id", 3)}})));
}

TEST_F(item_json_read, item_needs_a_source) {
  for (const Json& path : {Json(""), Json(), Json("clip.mpg"), Json("/mnt/.hidden"), Json(7)}) {
    EXPECT_FALSE(is_taken(item_document("ready", {{"input file", path}}))) << path.dump();
  }
}

TEST_F(item_json_read, document_other_than_an_object_is_refused) {
  for (const Json& document : {Json(), Json(1), Json("x"), Json(true), Json(json_array{})}) {
    EXPECT_FALSE(is_taken(document)) << document.dump();
  }
}

TEST_F(item_json_read, refused_output_refuses_the_item) {
  QueueItem item;
  item.set_output_file("/mnt/main/tv/vod/before.mp4");
  EXPECT_FALSE(item.deserialize_json(
      item_document("ready", {{"output file", "/mnt/main/tv/vodx/a.mp4"}}), false));
  EXPECT_EQ(item.output_file + item.output_metadir, "");
}

TEST_F(item_json_read, output_sets_its_metadata_directory) {
  QueueItem item;
  ASSERT_TRUE(item.deserialize_json(
      item_document("ready", {{"output file", "/mnt/main/tv/vod/a.mp4"}}), false));
  EXPECT_EQ(item.output_metadir, "/mnt/main/tv/vod/.a.mp4.metadata");
}

TEST_F(item_json_read, path_ends_at_a_nul) {
  QueueItem item;
  const std::string path("/mnt/media/a.mpg\0/../../etc", 27);
  ASSERT_TRUE(item.deserialize_json(item_document("ready", {{"input file", path}}), false));
  EXPECT_EQ(item.input_file, "/mnt/media/a.mpg");
  EXPECT_EQ(item.input_name, "a.mpg");
}

TEST_F(item_json_read, listed_profiles_replace_earlier_ones) {
  QueueItem item;
  item.quoted_profile = {"before"};
  const json_array listed{"1080", 720, nullptr, "480"};
  ASSERT_TRUE(item.deserialize_json(item_document("ready", {{"quoted profile", listed}}), false));
  EXPECT_THAT(item.quoted_profile, ElementsAre("1080", "", "", "480"));
  ASSERT_TRUE(item.deserialize_json(item_document("ready", {{"quoted profile", "720"}}), false));
  EXPECT_THAT(item.quoted_profile, ElementsAre());
}

TEST_F(item_json_read, texts_are_copied_unchanged) {
  QueueItem item;
  ASSERT_TRUE(item.deserialize_json(
      item_document("ready", {{"transcode profile", " 720 "}, {"state", "Any text"}}), false));
  EXPECT_EQ(item.transcode_profile, " 720 ");
  EXPECT_EQ(item.state_message, "Any text");
}

TEST_F(item_json_read, job_id_is_a_number) {
  const std::pair<Json, int> ids[] = {{7, 7}, {0, 0}, {12.9, 12}, {-5, -1}, {"7", -1}, {{}, -1}};
  for (const auto& [value, expected] : ids) {
    QueueItem item;
    item.fileops_job_id = 99;
    item.fileops_job_dir = folder_;
    ASSERT_TRUE(item.deserialize_json(item_document("ready", {{"fileops job id", value}}), false));
    EXPECT_EQ(item.fileops_job_id, expected) << value.dump();
    EXPECT_EQ(item.fileops_job_dir, expected < 0 ? "" : job_directory(expected)) << value.dump();
  }
}

TEST_F(item_json_read, process_is_never_read_back) {
  QueueItem item;
  const json_object keys{{"process pid", 1}, {"process argv", json_array{"/bin/rm"}}};
  ASSERT_TRUE(item.deserialize_json(item_document("transcoding", keys), false));
  EXPECT_EQ(item.proc_pid, -1);
  EXPECT_TRUE(item.proc_argv.empty());
}

TEST_F(item_json_read, item_with_a_child_or_its_pipes_is_left_alone) {
  for (std::int32_t QueueItem::*number :
       {&QueueItem::proc_pid, &QueueItem::proc_stdout_read_fd, &QueueItem::proc_stdout_write_fd}) {
    QueueItem item;
    item.*number = 1000000;
    EXPECT_FALSE(item.deserialize_json(item_document("ready"), false));
    EXPECT_EQ(item.input_file, "");
    item.*number = -1;
  }
  QueueItem item;
  item.proc_stdout_buffer = sliding_window_v4_create_buffer(16384);
  EXPECT_FALSE(item.deserialize_json(item_document("ready"), false));
  EXPECT_EQ(item.input_file, "");
}

TEST_F(item_json_read, status_is_written_once_at_the_end) {
  QueueItem item;
  ASSERT_TRUE(item.deserialize_json(item_document("done", {{"state", "text"}}), false));
  EXPECT_EQ(item.fileops_op, "vod");
  EXPECT_THAT(status_writes, ElementsAre("done: text"));
}

TEST_F(item_json_read, remote_document_overwrites_the_status_of_a_local_job) {
  inside([] {
    QueueItem item;
    const json_object keys{{"fileops job id", 7}, {"state", "far"}};
    EXPECT_TRUE(item.deserialize_json(item_document("transcoding", keys), false));
    EXPECT_THAT(read_file(job_directory(7) + "/status"), ::testing::HasSubstr("state=far\n"));
    const json_object unknown{{"fileops job id", 8}};
    EXPECT_TRUE(item.deserialize_json(item_document("transcoding", unknown), false));
    EXPECT_FALSE(exists(job_directory(8)));
  });
}

TEST_F(item_json_read, remote_document_rewrites_an_existing_summary) {
  inside([] {
    const std::string metadir = "/mnt/main/tv/vod/.far.mp4.metadata";
    const auto document = item_document(
        "transcoding", {{"fileops job id", 9}, {"output file", "/mnt/main/tv/vod/far.mp4"}});
    QueueItem item;
    EXPECT_TRUE(item.deserialize_json(document, false));
    EXPECT_FALSE(exists(metadir));
    fs::create_directory(metadir);
    EXPECT_TRUE(item.deserialize_json(document, false));
    EXPECT_EQ(lines_of(read_file(metadir + "/.transcode")).front(), "job id=9");
  });
}

TEST_F(item_json_read, written_item_reads_back_the_same) {
  const json_object job{
      {"ip", "server"}, {"name", "name"}, {"entry id", "far"}, {"json", json_object{{"a", 1}}}};
  const auto document = item_document("remote transcode", {{"remote transcode state", "monitor"},
                                                           {"remote transcode command", "resume"},
                                                           {"transcode progress", json_array{1, 4}},
                                                           {"approved", false},
                                                           {"user wants to pause", true},
                                                           {"uploaded", true},
                                                           {"quoted profile", json_array{"720"}},
                                                           {"remote job", job}});
  QueueItem first;
  ASSERT_TRUE(first.deserialize_json(document, false));
  QueueItem::json_object written;
  first.serialize_json(written, true);
  QueueItem second;
  ASSERT_TRUE(second.deserialize_json(written, false));
  QueueItem::json_object again;
  second.serialize_json(again, true);
  EXPECT_EQ(Json(again).dump(), Json(written).dump());
}
