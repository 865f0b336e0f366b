// Items as they are read.
#include <ctime>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/platform/test_folder.h"
#include "tools/client/item_view.h"
#include "tools/job_log/log_time.h"

TEST(item_view, is_read_from_the_service_form) {
  item_view item;
  ASSERT_TRUE(read_item(std::string(R"({"delete on finish":true,"entry id":"abc",)"
                                    R"("input file":"/mnt/a","output file":"/mnt/b",)"
                                    R"("state":"Ready","transcode profile":"720",)"
                                    R"("transcode progress":[4150,10000],)"
                                    R"("transcode state":"transcoding"})"),
                        item));
  EXPECT_EQ(item.entry_id, "abc");
  EXPECT_EQ(item.input_file, "/mnt/a");
  EXPECT_EQ(item.output_file, "/mnt/b");
  EXPECT_EQ(item.profile, "720");
  EXPECT_EQ(item.progress, 4150);
  EXPECT_EQ(item.state_and_step(), "transcoding");
  EXPECT_EQ(item.text, "Ready");
  EXPECT_TRUE(item.delete_on_finish);
}

TEST(item_view, shows_the_step_of_each_state_that_has_steps) {
  for (const char* state : {"ready", "remote transcode", "thumbnail", "cleanup"}) {
    const json11::Json json = json11::Json::object{
        {"entry id", "a"}, {"transcode state", state}, {std::string(state) + " state", "step"}};
    item_view item;
    ASSERT_TRUE(read_item(json, item));
    EXPECT_EQ(item.state_and_step(), std::string(state) + ": step");
  }
}

TEST(item_view, without_an_entry_id_is_not_an_item) {
  item_view item;
  for (const char* text :
       {"", "null", "[]", "7", "{}", "{\"entry id\":\"\"}", "{\"entry id\":1}"}) {
    EXPECT_FALSE(read_item(std::string(text), item)) << text;
  }
}

TEST(item_view, progress_is_shown_to_a_tenth_and_never_rounded_up) {
  EXPECT_EQ(percent(0), "0.0%");
  EXPECT_EQ(percent(4159), "41.5%");
  EXPECT_EQ(percent(9999), "99.9%");
  EXPECT_EQ(percent(10000), "100.0%");
}

TEST(item_view, with_odd_members_can_be_read) {
  item_view item;
  ASSERT_TRUE(
      read_item(std::string(R"({"entry id":"a","transcode progress":[-7,"x"],"state":7})"), item));
  EXPECT_EQ(item.progress, 0);
  EXPECT_EQ(item.text, "");
}

TEST(item_view, progress_beyond_the_whole_is_the_whole) {
  item_view item;
  ASSERT_TRUE(
      read_item(std::string(R"({"entry id":"a","transcode progress":[70000,10000]})"), item));
  EXPECT_EQ(item.progress, 10000);
}

TEST(item_view, shows_where_its_transcode_was_resumed) {
  item_view item;
  item.text = "Transcoding file...";
  EXPECT_EQ(item.whole_text(), "Transcoding file...");
  item.resumed = job_resumption{63, 0};
  EXPECT_EQ(item.whole_text(), "Transcoding file... (resumed at 63 %)");
}

TEST(item_view, that_does_not_run_was_resumed_nowhere) {
  const qx_test::test_folder folder;
  std::filesystem::create_directory(folder.file(".out.mp4.metadata"));
  std::ofstream(folder.file(".out.mp4.metadata/vod.log"))
      << "=== 2026-11-22T10:00:00.000Z qxmi_vod_transcode 0.1.0\n"
         "2026-11-22T10:00:01.000Z checkpoint: resumed at 63 %, after 226 finished segments\n";
  item_view item;
  item.output_file = folder.file("out.mp4");
  item.state = "transcoding";
  read_resumption(item);
  EXPECT_TRUE(item.resumed);
  item.state = "cancelled";
  read_resumption(item);
  EXPECT_FALSE(item.resumed);
}

TEST(item_view, shows_where_it_runs_in_a_cluster) {
  item_view item;
  item.text = "Transcoding file...";
  item.spread = job_spread{41, 96, 9, {"n1", "n2"}, 0};
  EXPECT_EQ(item.whole_text(), "Transcoding file... (41 of 96 segments, 9 under way on n1, n2)");
  item.resumed = job_resumption{20, 0};
  EXPECT_EQ(item.whole_text(), "Transcoding file... (resumed at 20 %; 41 of 96 segments, 9 under "
                               "way on n1, n2)");
}

TEST(item_view, that_does_not_run_is_in_no_cluster) {
  const qx_test::test_folder folder;
  std::filesystem::create_directory(folder.file(".out.mp4.metadata"));
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  std::ofstream(folder.file(".out.mp4.metadata/vod.log"))
      << "=== 2026-11-22T10:00:00.000Z qxmi_vod_transcode 0.1.0\n"
      << log_time(now) << " cluster: 41 of 96 segments, 9 under way on n1\n";
  item_view item;
  item.output_file = folder.file("out.mp4");
  item.state = "transcoding";
  read_spread(item);
  EXPECT_TRUE(item.spread);
  item.state = "thumbnail";
  read_spread(item);
  EXPECT_FALSE(item.spread);
}
