// status, the default subcommand.
#include <ctime>

#include <gmock/gmock.h>

#include "tests/tools/qx_vod_ctl/machine.h"
#include "tools/job_log/log_time.h"

using namespace qx_test;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

json11::Json parsed(const std::string& text) {
  std::string error;
  return json11::Json::parse(text, error);
}

std::vector<std::string> whole_queue() {
  std::vector<std::string> ids;
  for (int i = 0; i < 512; ++i) {
    ids.push_back("item-number-" + std::to_string(1000 + i));
  }
  return ids;
}

// The log of the job's output.
std::string log_of(const ctl_machine& machine, const std::string& id) {
  const std::string output =
      parsed(machine.ctl({"show", id, "--json"}).out)["output file"].string_value();
  const std::size_t name = output.rfind('/') + 1;
  return output.substr(0, name) + "." + output.substr(name) + ".metadata/vod.log";
}

}  // namespace

TEST(ctl_status, empty_queue_is_reported) {
  ctl_machine machine;
  machine.start();
  const auto result = machine.ctl({"status"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "The queue is empty.\n");
}

TEST(ctl_status, is_the_default_subcommand) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  const auto named = machine.ctl({"status"});
  EXPECT_THAT(named.out, HasSubstr("cancelled"));
  EXPECT_EQ(machine.ctl({}).out, named.out);
  EXPECT_THAT(machine.ctl({"--json"}).out, StartsWith("[{"));
}

TEST(ctl_status, whole_queue_with_totals) {
  ctl_machine machine;
  machine.start_with_items(whole_queue());
  const auto lines = lines_of(machine.ctl({"status"}).out);
  ASSERT_THAT(lines, SizeIs(514));
  EXPECT_THAT(lines[512], HasSubstr("item-number-1511"));
  EXPECT_EQ(lines[513], "512 jobs: 512 cancelled");
}

TEST(ctl_status, one_array_has_all_items_complete) {
  ctl_machine machine;
  machine.start_with_items(whole_queue());
  const auto items = parsed(machine.ctl({"status", "--json"}).out);
  ASSERT_THAT(items.array_items(), SizeIs(512));
  EXPECT_EQ(items[511]["entry id"].string_value(), "item-number-1511");
  EXPECT_TRUE(items[511]["process argv"].is_array());
}

TEST(ctl_status, only_the_items_of_one_state) {
  ctl_machine machine;
  machine.start_with_items({"aaaa", "bbbb"});
  machine.add_done("/mnt/media/clip.mpg");
  const auto done = parsed(machine.ctl({"status", "--state", "done", "--json"}).out);
  ASSERT_THAT(done.array_items(), SizeIs(1));
  const auto lines = lines_of(machine.ctl({"status", "--state", "done"}).out);
  ASSERT_THAT(lines, SizeIs(3));
  EXPECT_EQ(lines[2], "3 jobs: 1 done, 2 cancelled");
}

TEST(ctl_status, colour_in_a_pipe_only_when_asked_for) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  EXPECT_EQ(machine.ctl({"status"}).out.find('\x1b'), std::string::npos);
  EXPECT_NE(machine.ctl({"status", "--color", "always"}).out.find("\x1b[31m"), std::string::npos);
}

TEST(ctl_status, a_resumed_transcode_shows_where_it_was_resumed) {
  ctl_machine machine;
  machine.start();
  const std::string id = machine.add_transcoding("/mnt/media/clip.mpg");
  const std::string log = log_of(machine, id);
  const std::string opening = "=== 2026-11-22T10:00:00.000Z qxmi_vod_transcode 0.1.0\n";
  machine.root.write(log, opening + "2026-11-22T10:00:01.000Z checkpoint: resumed at 63 %, ...\n");
  for (const char* command : {"status", "list"}) {
    EXPECT_THAT(machine.ctl({command}).out,
                ContainsRegex("clip.mpg +Transcoding file... .resumed at 63 %.\n"));
  }
  EXPECT_THAT(machine.ctl({"show", id}).out, HasSubstr("\nresumed at 63 %\n"));
  const running_client following = machine.start_ctl({"follow", id});
  EXPECT_TRUE(following.wait_for_stdout("Transcoding file... (resumed at 63 %)\n"));
  machine.root.release("go");
  following.finish();
  EXPECT_EQ(machine.ctl({"status"}).out.find("resumed"), std::string::npos);
}

TEST(ctl_status, a_transcode_in_a_cluster_shows_where_it_runs) {
  ctl_machine machine;
  machine.start();
  const std::string id = machine.add_transcoding("/mnt/media/clip.mpg");
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::string opening = "=== " + log_time(now) + " qxmi_vod_transcode 0.1.0\n";
  const std::string note = log_time(now) + " cluster: 41 of 96 segments, 9 under way on n1, n2\n";
  machine.root.write(log_of(machine, id), opening + note);
  for (const char* command : {"status", "list"}) {
    EXPECT_THAT(machine.ctl({command}).out,
                ContainsRegex("Transcoding file... .41 of 96 segments, 9 under way on n1, n2.\n"));
  }
  EXPECT_THAT(machine.ctl({"show", id}).out,
              HasSubstr("\ncluster: 41 of 96 segments, 9 under way on n1, n2\n"));
  machine.root.write(log_of(machine, id),
                     opening + note + log_time(now) + " cluster: ended, all tasks are done\n");
  EXPECT_EQ(machine.ctl({"status"}).out.find("segments"), std::string::npos);
  EXPECT_EQ(machine.ctl({"show", id}).out.find("segments"), std::string::npos);
  machine.root.release("go");
}
