// The queue as it is sent to the page.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tools/vod_cgi/folded_text.h"
#include "tools/vod_cgi/job_view.h"
#include "tools/vod_cgi/queue_view.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

json11::Json::object job(const std::string& id, const std::string& state) {
  return {{"entry id", id},
          {"transcode state", state},
          {"input file", "/mnt/media/" + id + ".ts"},
          {"transcode progress", json11::Json::array{2500, 10000}},
          {"process argv", json11::Json::array{"--user=vod:secret"}}};
}

json11::Json::object job(const std::string& id, const std::string& state, const char* key,
                         const json11::Json& value) {
  auto made = job(id, state);
  made[key] = value;
  return made;
}

json11::Json view(const json11::Json::array& jobs, const queue_query& wanted = {},
                  std::optional<double> left = std::nullopt) {
  std::vector<listed_item> items;
  for (const json11::Json& made : jobs) {
    listed_item listed;
    listed.position = items.size();
    if (read_item(made, listed.item)) { items.push_back(std::move(listed)); }
  }
  const expected_ends ends = {std::vector<std::optional<double>>(items.size(), left), 1000};
  return view_of_queue(items, ends, wanted, vod_folder{"/nowhere/"});
}

std::vector<std::string> ids(const json11::Json& seen, const char* key = "items") {
  std::vector<std::string> found;
  for (const auto& item : seen[key].array_items()) {
    found.push_back(item["id"].string_value());
  }
  return found;
}

std::string group(const json11::Json::object& made) {
  item_view item;
  return read_item(json11::Json(made), item) ? group_name(group_of(item)) : "none";
}

TEST(cgi_queue_view, shows_running_then_waiting_then_ended_jobs_latest_first) {
  const auto seen = view({job("a", "done"), job("b", "ready"), job("c", "cancelled"),
                          job("d", "ready", "paused", true), job("e", "transcoding")});
  EXPECT_THAT(ids(seen), ElementsAre("e", "b", "d", "c", "a"));
}

TEST(cgi_queue_view, cuts_out_the_requested_page) {
  queue_query wanted;
  wanted.first = 1;
  wanted.count = 2;
  const auto seen =
      view({job("a", "ready"), job("b", "ready"), job("c", "ready"), job("d", "ready")}, wanted);
  EXPECT_THAT(ids(seen), ElementsAre("b", "c"));
  EXPECT_EQ(seen["first"].int_value(), 1);
  EXPECT_EQ(seen["matches"].int_value(), 4);
}

TEST(cgi_queue_view, counts_the_whole_queue_whatever_is_shown) {
  queue_query wanted;
  wanted.show = "done";
  const auto seen = view({job("a", "done"), job("b", "ready"), job("c", "done")}, wanted);
  EXPECT_EQ(seen["matches"].int_value(), 2);
  EXPECT_EQ(seen["total"].int_value(), 3);
  EXPECT_EQ(seen["groups"]["done"].int_value(), 2);
  EXPECT_EQ(seen["groups"]["failed"], json11::Json(0));
  EXPECT_EQ(seen["states"].dump(), R"({"done": 2, "ready": 1})");
}

TEST(cgi_queue_view, filters_by_group_and_by_state) {
  const json11::Json::array jobs = {job("a", "thumbnail"), job("b", "transcoding"),
                                    job("c", "transcoding", "paused", true)};
  queue_query wanted;
  wanted.show = "running";
  EXPECT_THAT(ids(view(jobs, wanted)), ElementsAre("a", "b"));
  wanted.show = "";
  wanted.state = "transcoding";
  EXPECT_THAT(ids(view(jobs, wanted)), ElementsAre("b", "c"));
}

TEST(cgi_queue_view, keeps_failed_jobs_apart_from_cancelled_ones) {
  queue_query wanted;
  wanted.show = "cancelled";
  const auto seen = view({job("a", "cancelled", "state", "Transcoding failed"),
                          job("b", "cancelled", "state", "Cancelled by user")},
                         wanted);
  EXPECT_THAT(ids(seen), ElementsAre("b"));
}

TEST(cgi_queue_view, searches_paths_and_texts_in_either_case) {
  queue_query wanted;
  wanted.search = "\xc3\x84"
                  "RGER";
  const auto seen = view({job("a", "ready", "input file", "/mnt/\xc3\xa4rger.ts"),
                          job("b", "ready", "state", "nichts als \xc3\xa4rger"), job("c", "ready")},
                         wanted);
  EXPECT_THAT(ids(seen), ElementsAre("a", "b"));
}

TEST(cgi_queue_view, contains_when_a_job_is_expected_to_be_ready) {
  EXPECT_EQ(view({job("a", "transcoding")}, {}, 90.4)["items"][0]["ready_at"].dump(), "1090");
  EXPECT_TRUE(view({job("a", "transcoding")})["items"][0]["ready_at"].is_null());
}

TEST(cgi_queue_view, leaves_out_command_lines) {
  EXPECT_THAT(view({job("a", "remote transcode")}).dump(), Not(HasSubstr("secret")));
}

TEST(cgi_queue_view, leaves_out_removed_jobs) {
  EXPECT_EQ(view({job("a", "cleared")})["total"].int_value(), 0);
}

TEST(cgi_queue_view, contains_the_jobs_in_line_except_those_that_wait_for_a_user) {
  const auto seen = view({job("a", "ready"), job("b", "ready", "paused", true), job("c", "init"),
                          job("d", "transcoding"), job("e", "done")});
  EXPECT_THAT(ids(seen, "line"), ElementsAre("d", "a"));
}

TEST(cgi_queue_view, contains_the_first_16_in_line) {
  json11::Json::array jobs;
  for (int i = 0; i < 20; ++i) {
    jobs.push_back(job(std::to_string(i), "ready"));
  }
  EXPECT_EQ(view(jobs)["line"].array_items().size(), 16U);
}

TEST(cgi_job_group, of_a_cancelled_job_is_failed_unless_a_user_cancelled_it) {
  EXPECT_EQ(group(job("a", "cancelled", "state", "Transcoding failed")), "failed");
  EXPECT_EQ(group(job("a", "cancelled", "state", "Cancelled by user")), "cancelled");
  EXPECT_EQ(group(job("a", "cancelled", "state", "Transcode cancelled, remote end cancelled")),
            "cancelled");
  EXPECT_EQ(group(job("a", "cancelling")), "cancelled");
}

TEST(cgi_queue_view, says_where_a_transcode_was_resumed) {
  listed_item listed;
  ASSERT_TRUE(read_item(json11::Json(job("a", "transcoding")), listed.item));
  const expected_ends ends = {{std::nullopt}, 1000};
  const vod_folder folder{"/nowhere/"};
  EXPECT_TRUE(view_of_queue({listed}, ends, {}, folder)["items"][0]["resumed_at"].is_null());
  listed.item.resumed = job_resumption{63, 0};
  EXPECT_EQ(view_of_queue({listed}, ends, {}, folder)["items"][0]["resumed_at"].dump(), "63");
}

TEST(cgi_queue_view, says_where_a_transcode_runs_in_a_cluster) {
  listed_item listed;
  ASSERT_TRUE(read_item(json11::Json(job("a", "transcoding")), listed.item));
  const expected_ends ends = {{std::nullopt}, 1000};
  const vod_folder folder{"/nowhere/"};
  EXPECT_TRUE(view_of_queue({listed}, ends, {}, folder)["items"][0]["spread"].is_null());
  listed.item.spread = job_spread{41, 96, 9, {"n1", "n2"}, 4};
  EXPECT_EQ(view_of_queue({listed}, ends, {}, folder)["items"][0]["spread"].dump(),
            R"({"finished": 41, "more_nodes": 4, "nodes": ["n1", "n2"], )"
            R"("segments": 96, "under_way": 9})");
}

TEST(cgi_job_group, of_a_resumed_transcode_without_its_turn_is_waiting) {
  EXPECT_EQ(group(job("a", "transcoding", "waiting", true)), "waiting");
}

TEST(cgi_folded_text, keeps_bytes_that_are_not_text) {
  EXPECT_EQ(folded_text("A\xff\xc3Z"), "a\xff\xc3z");
  EXPECT_EQ(folded_text(std::string("A\0B", 3)), std::string("a\0b", 3));
}

TEST(cgi_queue_view, a_failed_job_has_the_reason_from_its_log) {
  char folder[] = "/tmp/qx-view-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string metadata = std::string(folder) + "/.out.mp4.metadata";
  std::filesystem::create_directory(metadata);
  std::ofstream(metadata + "/vod.log") << "--- t qxmi_vod_transcode failed: disk-full: no room\n";
  auto failed = job("a", "cancelled", "state", "Transcoding failed");
  failed["output file"] = folder + std::string("/out.mp4");
  auto going = failed;
  going["transcode state"] = "transcoding";
  const auto seen = view({failed, going})["items"];
  EXPECT_EQ(seen[0]["reason"].string_value(), "");
  EXPECT_EQ(seen[1]["reason"].string_value(), "disk-full: no room");
  std::filesystem::remove_all(folder);
}

}  // namespace
