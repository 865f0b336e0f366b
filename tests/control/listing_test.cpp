// "list": pages of the queue, single items, and the form of each entry.
#include <functional>

#include <gmock/gmock.h>

#include "queue/transcode_queue.h"
#include "rules/json_text.h"
#include "tests/control/control_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class list_command : public control_bench {
protected:
  json11::Json list(const name_values& pairs = {}) {
    const auto reply = request("list", pairs);
    EXPECT_EQ(reply.words, (strings{"list", "OK"}));
    EXPECT_EQ(reply.result_code, 0U);
    EXPECT_TRUE(reply.pairs.empty());
    std::string error;
    return parse_json(reply.data, error);
  }
  // The numbers of the listed items, in a queue made by add_items().
  strings listed(const name_values& pairs = {}) {
    strings files;
    const auto page = list(pairs);
    for (const auto& item : page["list"].array_items()) {
      files.push_back(item["input file"].string_value());
    }
    return files;
  }
  static strings numbers(int first, int last) {
    strings files;
    for (int i = first; i <= last; ++i) {
      files.push_back("/" + std::to_string(i));
    }
    return files;
  }
  static strings keys_of(const json11::Json& object) {
    strings keys;
    for (const auto& [key, value] : object.object_items()) {
      keys.push_back(key);
    }
    return keys;
  }
};

TEST_F(list_command, of_an_empty_queue_is_empty) {
  EXPECT_EQ(request("list").data, R"({"list": [], "modify counter": 0, "total": 0})");
}

TEST_F(list_command, without_parameters_lists_the_first_sixteen) {
  add_items(20, TRANSCODE_READY);
  EXPECT_EQ(listed(), numbers(1, 16));
  EXPECT_EQ(list()["total"], json11::Json(20));
  EXPECT_EQ(list()["start"], json11::Json(0));
}

TEST_F(list_command, lists_at_most_sixteen_items_whatever_the_end) {
  add_items(50, TRANSCODE_READY);
  const auto page = list({{"start", "10"}, {"end", "100"}});
  EXPECT_EQ(listed({{"start", "10"}, {"end", "100"}}), numbers(11, 26));
  EXPECT_EQ(page["total"], json11::Json(50));
  EXPECT_EQ(page["start"], json11::Json(10));
}

TEST_F(list_command, includes_the_last_index) {
  add_items(20, TRANSCODE_READY);
  EXPECT_EQ(listed({{"start", "3"}, {"end", "5"}}), numbers(4, 6));
  EXPECT_EQ(listed({{"end", "0"}}), numbers(1, 1));
  EXPECT_EQ(listed({{"start", "15"}}), numbers(16, 16)) << "the end is 15 unless told otherwise";
}

TEST_F(list_command, beyond_the_queue_has_no_start) {
  add_items(3, TRANSCODE_READY);
  const auto page = list({{"start", "3"}, {"end", "9"}});
  EXPECT_THAT(keys_of(page), ElementsAre("list", "modify counter", "total"));
  EXPECT_EQ(page["total"], json11::Json(3));
}

TEST_F(list_command, with_a_start_after_its_end_lists_the_end) {
  add_items(30, TRANSCODE_READY);
  const auto page = list({{"start", "20"}, {"end", "7"}});
  EXPECT_EQ(listed({{"start", "20"}, {"end", "7"}}), numbers(8, 8));
  EXPECT_EQ(page["start"], json11::Json(7));
  EXPECT_EQ(listed({{"start", "20"}}), numbers(16, 16));
}

TEST_F(list_command, reads_numbers_in_any_base) {
  add_items(40, TRANSCODE_READY);
  EXPECT_EQ(listed({{"start", "0x10"}, {"end", "021"}}), numbers(17, 18));
  EXPECT_EQ(listed({{"start", " 2 and more"}, {"end", "2"}}), numbers(3, 3));
  EXPECT_EQ(listed({{"start", "no digits"}, {"end", "1"}}), numbers(1, 2));
  EXPECT_EQ(listed({{"start", "1"}, {"end", "5"}, {"end", "2"}}), numbers(2, 3));
}

TEST_F(list_command, treats_negative_and_huge_numbers_as_beyond_the_queue) {
  add_items(3, TRANSCODE_READY);
  for (const char* huge : {"-1", "18446744073709551615", "99999999999999999999999999"}) {
    EXPECT_EQ(listed({{"end", huge}}), numbers(1, 3)) << huge;
    EXPECT_THAT(listed({{"start", huge}, {"end", huge}}), IsEmpty()) << huge;
  }
}

TEST_F(list_command, counts_null_entries_and_does_not_list_them) {
  add_items(1, TRANSCODE_READY);
  transcode_queue.push_back(nullptr);
  add_items(1, TRANSCODE_READY);
  EXPECT_EQ(listed(), numbers(1, 2));
  EXPECT_EQ(list()["total"], json11::Json(3));
  EXPECT_EQ(listed({{"start", "2"}, {"end", "2"}}), numbers(2, 2));
  EXPECT_THAT(keys_of(list({{"start", "1"}, {"end", "1"}})),
              ElementsAre("list", "modify counter", "total"));
}

TEST_F(list_command, includes_the_modify_counter) {
  transcode_queue_mod_count = 0xffffffff;
  EXPECT_EQ(list()["modify counter"].number_value(), 4294967295.0);
  request("add");
  EXPECT_EQ(list()["modify counter"].number_value(), 0.0);
  request("add");
  EXPECT_EQ(list()["modify counter"].number_value(), 1.0);
}

TEST_F(list_command, changes_nothing_and_ignores_unknown_parameters) {
  add_items(1, TRANSCODE_READY);
  EXPECT_EQ(listed({{"no such name", "1"}, {"Start", "9"}, {"transcode state", "done"}}),
            numbers(1, 1));
  EXPECT_TRUE(nothing_is_armed());
}

TEST_F(list_command, is_written_as_the_library_would) {
  add_items(3, TRANSCODE_READY);
  const std::string text = request("list", {{"start", "1"}}).data;
  std::string error;
  EXPECT_EQ(text, json11::Json::parse(text, error).dump()) << error;
}

TEST_F(list_command, shows_a_change_at_once) {
  QueueItem& item = add_item(TRANSCODE_READY);
  const std::pair<const char*, std::function<void()>> changes[] = {
      {"approved", [&] { item.approved = false; }},
      {"delete on finish", [&] { item.delete_on_finish = true; }},
      {"entry id", [&] { item.entry_id = "another"; }},
      {"fileops job id", [&] { item.fileops_job_id = 77; }},
      {"input file", [&] { item.input_file = "/mnt/in.mpg"; }},
      {"output file", [&] { item.output_file = "/mnt/main/tv/vod/out.mp4"; }},
      {"paused", [&] { item.paused = true; }},
      {"process argv", [&] { item.proc_argv = {"/bin/tool"}; }},
      {"process pid", [&] { item.proc_pid = 4711; }},
      {"quoted profile", [&] { item.quoted_profile = {"720"}; }},
      {"ready state", [&] { item.sm.ready.set_state(READY_CHECK_META); }},
      {"remote job", [&] { item.remote_info.entry_id = "there"; }},
      {"state", [&] { item.state_message = "text"; }},
      {"transcode profile", [&] { item.transcode_profile = "720"; }},
      {"transcode progress", [&] { item.progress = 1234; }},
      {"uploaded", [&] { item.uploaded = true; }},
      {"waiting", [&] { item.waiting = true; }},
      {"transcode state", [&] { item.sm.set_state(TRANSCODE_DONE); }}};
  for (const auto& [key, change] : changes) {
    const json11::Json before = list()["list"][0][key];
    change();
    EXPECT_NE(list()["list"][0][key], before) << key;
  }
}

TEST_F(list_command, of_one_item_is_its_json_form) {
  add_items(3, TRANSCODE_READY);
  const QueueItem& item = **std::next(transcode_queue.begin());
  std::string form;
  item.serialize_to_string(form, false);
  EXPECT_EQ(request("list", {{"entry id", item.entry_id}}).data, form);
  EXPECT_EQ(request("list", {{"fileops job id", "0x2"}}).data, form);
  EXPECT_EQ(request("list", {{"entry id", ""}, {"fileops job id", "2"}}).data, form);
  EXPECT_EQ(request("list", {{"entry id", item.entry_id}, {"start", "9"}}).data, form);
}

TEST_F(list_command, of_a_missing_item_is_refused) {
  add_items(1, TRANSCODE_READY);
  for (const name_values& pairs : {name_values{{"entry id", "nobody"}},
                                   {{"entry id", "nobody"}, {"fileops job id", "1"}},
                                   {{"fileops job id", "2"}}}) {
    const auto reply = request("list", pairs);
    EXPECT_EQ(reply.words, (strings{"list", "NOT FOUND"}));
    EXPECT_EQ(reply.result_code, 1000U);
    EXPECT_TRUE(reply.pairs.empty() && reply.data.empty());
  }
  EXPECT_EQ(listed({{"fileops job id", "-1"}}), numbers(1, 1)) << "no selection: a page";
}

TEST_F(list_command, gives_each_entry_every_key) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  item.input_file = "/mnt/in.mpg";
  item.output_file = "/mnt/main/tv/vod/out.mp4";
  item.transcode_profile = "720";
  item.quoted_profile = {"1080", "720"};
  item.state_message = "Transcoding file...";
  item.progress = 1234;
  item.delete_on_finish = item.uploaded = item.waiting = item.paused = true;
  item.approved = false;
  item.user_wants_cancel = item.user_wants_pause = item.user_wants_remove = true;
  item.proc_pid = 4711;
  item.proc_argv = {"/bin/tool", "-x"};
  EXPECT_EQ(list()["list"][0], json11::Json(json11::Json::object{
                                   {"approved", false},
                                   {"delete on finish", true},
                                   {"entry id", item.entry_id},
                                   {"fileops job id", 1},
                                   {"input file", "/mnt/in.mpg"},
                                   {"output file", "/mnt/main/tv/vod/out.mp4"},
                                   {"paused", true},
                                   {"process argv", json11::Json::array{"/bin/tool", "-x"}},
                                   {"process pid", 4711},
                                   {"quoted profile", json11::Json::array{"1080", "720"}},
                                   {"state", "Transcoding file..."},
                                   {"transcode profile", "720"},
                                   {"transcode progress", json11::Json::array{1234, 10000}},
                                   {"transcode state", "transcoding"},
                                   {"uploaded", true},
                                   {"waiting", true},
                               }));
}

TEST_F(list_command, names_the_state_of_the_phase_an_item_is_in) {
  add_item(TRANSCODE_READY).sm.ready.set_state(READY_QUERY_PROFILES);
  add_item(TRANSCODE_THUMBNAIL).sm.thumbnail.set_state(THUMBNAIL_METADATA_GEN);
  add_item(TRANSCODE_CLEANUP).sm.cleanup.set_state(CLEANUP_UNLINK_META);
  add_remote_item(REMOTE_COMMAND).sm.remote_command = "pause";
  const auto page = list()["list"];
  EXPECT_EQ(page[0]["ready state"].string_value(), "query profiles");
  EXPECT_EQ(page[1]["thumbnail state"].string_value(), "metadata gen");
  EXPECT_EQ(page[2]["cleanup state"].string_value(), "unlink meta");
  EXPECT_EQ(page[3]["remote transcode state"].string_value(), "command");
  EXPECT_EQ(page[3]["remote transcode command"].string_value(), "pause");
  const std::size_t plain_keys = 16;
  for (const std::size_t i : {0U, 1U, 2U}) {
    EXPECT_EQ(page[i].object_items().size(), plain_keys + 1) << i;
  }
  EXPECT_EQ(page[3].object_items().size(), plain_keys + 2);
}

TEST_F(list_command, does_not_name_a_state_out_of_range) {
  add_item(TRANSCODE_READY).sm.ready.state = ready_states_count;
  add_item(TRANSCODE_THUMBNAIL).sm.thumbnail.state = thumbnail_states_count;
  add_item(TRANSCODE_CLEANUP).sm.cleanup.state = cleanup_states_count;
  add_remote_item(REMOTE_INIT).sm.remote.state = remote_transcode_states_count;
  add_item().sm.state = transcode_states_count;
  const auto page = list()["list"];
  EXPECT_EQ(page[0]["ready state"], json11::Json(""));
  EXPECT_EQ(page[1]["thumbnail state"], json11::Json(""));
  EXPECT_EQ(page[2]["cleanup state"], json11::Json(""));
  EXPECT_EQ(page[3]["remote transcode state"], json11::Json(""));
  EXPECT_EQ(page[4]["transcode state"], json11::Json(""));
}

TEST_F(list_command, shows_only_the_entry_id_of_a_remote_job) {
  QueueItem& item = add_item(TRANSCODE_REMOTE);
  add_item(TRANSCODE_REMOTE);
  item.remote_info.ip = "server";
  item.remote_info.name = "upload";
  item.remote_info.json = json11::Json::object{{"state", "x"}};
  const auto page = list()["list"];
  EXPECT_EQ(page[0]["remote job"].dump(), R"({"entry id": ""})");
  item.remote_info.entry_id = "far away";
  EXPECT_EQ(list()["list"][0]["remote job"].dump(), R"({"entry id": "far away"})");
  EXPECT_TRUE(page[1]["remote job"].is_null()) << "nothing is known of one";
}

TEST_F(list_command, handles_texts_of_any_bytes) {
  add_item().input_file = "/mnt/quote\" backslash\\ tab\t line\n utf-8 \xc3\xa4 not \xff";
  EXPECT_EQ(listed(), strings{"/mnt/quote\" backslash\\ tab\t line\n utf-8 \xc3\xa4 not \xff"});
}
