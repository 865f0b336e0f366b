// Many items at once: whole selections, folders, and following the added jobs.
#include <gmock/gmock.h>

#include "tests/support/wait_until.h"
#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;

namespace {

int items_left(const ctl_machine& machine) {
  return machine.client.list()["total"].int_value();
}

struct busy_machine : ctl_machine {
  busy_machine() {
    start_with_items({"aaaa", "bbbb"});
    id = add_transcoding("/mnt/media/running.mpg");
  }
  std::string id;
};

}  // namespace

TEST(ctl_selection, all_means_the_jobs_that_the_command_applies_to) {
  busy_machine machine;
  const auto paused = machine.ctl({"pause", "--all"});
  EXPECT_EQ(paused.status, 0);
  EXPECT_EQ(paused.out, machine.id + "  transcoding  Paused\n");
  EXPECT_THAT(lines_of(machine.ctl({"resume", "--all"}).out), SizeIs(1));
  EXPECT_THAT(lines_of(machine.ctl({"restart", "--all"}).out), SizeIs(2));
}

TEST(ctl_selection, state_means_every_item_in_it) {
  busy_machine machine;
  const auto result = machine.ctl({"pause", "--state", "cancelled"});
  EXPECT_EQ(result.out, "bbbb  cancelled  Paused\naaaa  cancelled  Paused\n");
}

TEST(ctl_selection, pausing_all_does_not_start_the_next_job) {
  busy_machine machine;
  machine.root.write_source("/mnt/media/next.mpg");
  const auto next = machine.add("/mnt/media/next.mpg");
  machine.client.wait_for_item(next, [](const json11::Json& item) {
    return item["ready state"].string_value() == "ready to transcode";
  });
  EXPECT_EQ(machine.ctl({"pause", "--all"}).status, 0);
  EXPECT_EQ(machine.client.item(next)["transcode state"].string_value(), "ready");
}

TEST(ctl_selection, failed_means_jobs_that_nobody_cancelled) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  machine.root.plan(tool::transcode, tool_plan().exit(1));
  machine.root.write_source("/mnt/media/bad.mpg");
  const auto failed = machine.add("/mnt/media/bad.mpg");
  machine.client.wait_for_transcode_state(failed, "cancelled");
  EXPECT_THAT(lines_of(machine.ctl({"status", "--state", "failed"}).out), SizeIs(3));
  EXPECT_THAT(machine.ctl({"status", "--state", "failed", "--json"}).out, Not(HasSubstr("aaaa")));
  EXPECT_EQ(machine.ctl({"restart", "--state", "failed"}).out,
            failed + "  ready: init  Restarted by user\n");
}

TEST(ctl_selection, an_empty_selection_is_not_a_failure) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  const auto result = machine.ctl({"cancel", "--all"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "qx_vod_ctl: no job in the queue matches\n");
}

TEST(ctl_remove, whole_selection_needs_yes_without_a_terminal) {
  ctl_machine machine;
  machine.start_with_items({"aaaa", "bbbb"});
  const auto refused = machine.ctl({"remove", "--all"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.err, "qx_vod_ctl: would remove 2 jobs; confirm with --yes\n");
  EXPECT_EQ(items_left(machine), 2);
  EXPECT_EQ(machine.ctl({"remove", "--all", "--yes"}).status, 0);
  EXPECT_TRUE(wait_until([&] { return items_left(machine) == 0; }));
}

TEST(ctl_remove, yes_stops_running_jobs_first) {
  busy_machine machine;
  EXPECT_EQ(machine.ctl({"remove", "--yes", machine.id}).status, 0);
  EXPECT_TRUE(wait_until([&] { return items_left(machine) == 2; }));
}

TEST(ctl_add, folder_s_media_are_added_one_line_each) {
  ctl_machine machine;
  machine.start();
  for (const char* name :
       {"/mnt/media/in/a.mpg", "/mnt/media/in/deep/b.ts", "/mnt/media/in/c.txt"}) {
    machine.root.write_source(name);
  }
  const auto result = machine.ctl({"add", "--recursive", "/mnt/media/in"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(lines_of(result.out), SizeIs(2));
  EXPECT_THAT(result.err, HasSubstr("skipped 1 file without a media extension"));
}

TEST(ctl_add, folder_without_recursive_is_refused_with_advice) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/in/a.mpg");
  machine.root.write_source("/mnt/media/b.mpg");
  const auto result = machine.ctl({"add", "/mnt/media/in", "/mnt/media/b.mpg"});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(
      result.err,
      "qx_vod_ctl: /mnt/media/in: is a directory; --recursive (-r) adds the media files in it\n");
  EXPECT_THAT(lines_of(result.out), SizeIs(1));
  EXPECT_EQ(items_left(machine), 1);
}

TEST(ctl_add, wait_follows_to_the_end) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/a.mpg");
  const auto result = machine.ctl({"add", "--wait", "/mnt/media/a.mpg"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(lines_of(result.out)[1], HasSubstr("  done"));
  machine.root.plan(tool::transcode, tool_plan().exit(1));
  EXPECT_EQ(machine.ctl({"add", "--wait", "/mnt/media/a.mpg"}).status, 1);
}

TEST(ctl_follow, shows_progress_and_the_end) {
  busy_machine machine;
  const auto following = machine.start_ctl({"follow", machine.id.substr(0, 8)});
  ASSERT_TRUE(following.wait_for_stdout(" 50%  running.mpg"));
  machine.root.release("go");
  const auto result = following.finish();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("\n" + machine.id + "  done"));
  EXPECT_THAT(result.out, Not(HasSubstr("\x1b")));
}
