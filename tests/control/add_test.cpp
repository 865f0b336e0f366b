// "add": the new item, refusals, and making room.
#include <set>

#include <gmock/gmock.h>

#include "queue/transcode_queue.h"
#include "tests/control/control_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;

class add_command : public control_bench {
protected:
  // The numbers of the items made by add_items() that are no longer in the queue.
  static strings missing(int made) {
    const strings files = input_files();
    const std::set<std::string> there(files.begin(), files.end());
    strings gone;
    for (int i = 1; i <= made; ++i) {
      if (there.count("/" + std::to_string(i)) == 0) { gone.push_back(std::to_string(i)); }
    }
    return gone;
  }
};

TEST_F(add_command, without_pairs_adds_an_item_with_defaults) {
  const auto reply = request("add");
  const std::string id = reply.pair("entry id");
  EXPECT_EQ(reply.words, (strings{"add", "OK"}));
  EXPECT_EQ(reply.result_code, 0U);
  EXPECT_EQ(reply.pairs, (name_values{{"entry id", id}}));
  EXPECT_EQ(reply.json(), json11::Json(json11::Json::object{
                              {"approved", true},
                              {"delete on finish", false},
                              {"entry id", id},
                              {"fileops job id", -1},
                              {"input file", ""},
                              {"output file", ""},
                              {"paused", false},
                              {"process argv", json11::Json::array{}},
                              {"process pid", -1},
                              {"quoted profile", json11::Json::array{}},
                              {"state", ""},
                              {"transcode profile", ""},
                              {"transcode progress", json11::Json::array{0, 10000}},
                              {"transcode state", "init"},
                              {"uploaded", false},
                              {"waiting", false},
                          }));
}

TEST_F(add_command, applies_its_pairs) {
  const auto item = request("add", {{"input file", "/mnt/media/a.mpg"},
                                    {"transcode profile", "720"},
                                    {"delete on finish", "1"},
                                    {"paused", "1"}})
                        .json();
  EXPECT_EQ(item["input file"], json11::Json("/mnt/media/a.mpg"));
  EXPECT_EQ(item["transcode profile"], json11::Json("720"));
  EXPECT_EQ(item["delete on finish"], json11::Json(true));
  EXPECT_EQ(item["paused"], json11::Json(true));
}

TEST_F(add_command, appends_and_counts_and_sets_both_timers) {
  add_items(2, TRANSCODE_READY);
  request("add", {{"input file", "/new"}});
  EXPECT_THAT(input_files(), ElementsAre("/1", "/2", "/new"));
  EXPECT_EQ(transcode_queue_mod_count, 1U);
  EXPECT_TRUE(scan_is_due());
  EXPECT_TRUE(write_is_armed());
  clock_us += 9000000;
  request("add");
  EXPECT_TRUE(write_is_armed()) << "a later change moves the write";
}

TEST_F(add_command, uses_the_last_value_of_a_name) {
  request("add", {{"input file", "relative"}, {"input file", "/good"}});
  EXPECT_THAT(input_files(), ElementsAre("/good"));
}

TEST_F(add_command, refuses_an_unacceptable_pair_and_keeps_the_queue_unchanged) {
  add_items(1, TRANSCODE_READY);
  for (const name_values& pairs : {name_values{{"no such field", "1"}},
                                   {{"input file", "relative"}},
                                   {{"input file", "/good"}, {"output file", "/mnt/x.mp4"}},
                                   {{"entry id", "mine"}},
                                   {{"fileops job id", "3"}},
                                   {{"transcode state", "done"}},
                                   {{"input file", "/good"}, {"input file", "relative"}}}) {
    const auto reply = request("add", pairs);
    EXPECT_EQ(reply.words, (strings{"add", "One or more parameters were not accepted"}));
    EXPECT_EQ(reply.result_code, 1000U);
    EXPECT_TRUE(reply.pairs.empty() && reply.data.empty());
  }
  EXPECT_THAT(input_files(), ElementsAre("/1"));
  EXPECT_EQ(transcode_queue_mod_count, 0U);
  EXPECT_TRUE(nothing_is_armed());
}

TEST_F(add_command, accepts_the_512th_item_and_no_more) {
  add_items(511, TRANSCODE_READY);
  EXPECT_EQ(request("add").status(), "OK");
  const auto reply = request("add");
  EXPECT_EQ(reply.words, (strings{"add", "TOO MANY ITEMS"}));
  EXPECT_EQ(reply.result_code, 1000U);
  EXPECT_TRUE(reply.pairs.empty() && reply.data.empty());
  EXPECT_EQ(transcode_queue.size(), 512U);
  EXPECT_EQ(transcode_queue_mod_count, 1U);
}

TEST_F(add_command, clears_nothing_up_to_479_items) {
  add_items(400, TRANSCODE_DONE);
  add_items(79, TRANSCODE_CANCELLED);
  EXPECT_EQ(request("add").status(), "OK");
  EXPECT_EQ(transcode_queue.size(), 480U);
}

TEST_F(add_command, clears_the_oldest_finished_items) {
  add_items(100, TRANSCODE_READY);
  add_items(20, TRANSCODE_DONE);
  add_items(370, TRANSCODE_READY);
  EXPECT_EQ(request("add").status(), "OK");
  EXPECT_THAT(missing(490), ElementsAre("101", "102", "103", "104", "105", "106", "107", "108",
                                        "109", "110", "111"));
  EXPECT_EQ(transcode_queue_mod_count, 1U) << "only the insertion counts";
}

TEST_F(add_command, clears_cancelled_items_after_finished_ones) {
  add_items(3, TRANSCODE_CANCELLED);
  add_items(477, TRANSCODE_READY);
  add_items(2, TRANSCODE_DONE);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(request("add").status(), "OK");
  const strings lines = lines_of(::testing::internal::GetCapturedStderr());
  EXPECT_THAT(missing(482), ElementsAre("1", "481", "482"));
  EXPECT_THAT(lines, ElementsAre("* new connection", "Auto-clearing finished item '/481'",
                                 "Auto-clearing finished item '/482'",
                                 "Auto-clearing cancelled item '/1'"));
}

TEST_F(add_command, clears_no_item_of_another_state) {
  for (const auto state :
       {TRANSCODE_INIT, TRANSCODE_CANCELLING, TRANSCODE_READY, TRANSCODE_REMOTE,
        TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL, TRANSCODE_CLEANUP, TRANSCODE_CLEARED}) {
    add_items(64, state);
  }
  EXPECT_EQ(request("add").status(), "TOO MANY ITEMS");
  EXPECT_EQ(transcode_queue.size(), 512U);
}

TEST_F(add_command, makes_room_even_if_it_refuses_the_item) {
  add_items(480, TRANSCODE_DONE);
  EXPECT_EQ(request("add", {{"no such field", "1"}}).result_code, 1000U);
  EXPECT_EQ(missing(480), strings{"1"});
}

TEST_F(add_command, makes_room_around_null_entries) {
  transcode_queue.push_back(nullptr);
  add_items(511, TRANSCODE_DONE);
  EXPECT_EQ(request("add").status(), "OK");
  EXPECT_EQ(transcode_queue.size(), 480U);
  EXPECT_EQ(transcode_queue.front(), nullptr);
}
