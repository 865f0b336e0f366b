// The subcommands that pass a command on, each on a job of the real service.
#include <csignal>

#include <gmock/gmock.h>

#include "tests/support/wait_until.h"
#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

struct transcoding_machine : ctl_machine {
  transcoding_machine() {
    start();
    id = add_transcoding("/mnt/media/clip.mpg");
    call = root.wait_for_call(tool::transcode);
  }
  std::string id;
  tool_call call;
};

json11::Json parsed(const std::string& text) {
  std::string error;
  return json11::Json::parse(text, error);
}

}  // namespace

TEST(ctl_test, answers) {
  ctl_machine machine;
  machine.start();
  const auto result = machine.ctl({"test"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "OK\n");
  EXPECT_EQ(result.err, "");
}

TEST(ctl_pause, suspends_the_job_and_resume_continues_it) {
  transcoding_machine machine;
  const auto paused = machine.ctl({"pause", machine.id});
  EXPECT_EQ(paused.status, 0);
  EXPECT_EQ(paused.out, machine.id + "  transcoding  Paused\n");
  EXPECT_TRUE(wait_until([&] { return machine.call.signals() == std::vector<int>{SIGUSR1}; }));
  EXPECT_EQ(machine.ctl({"resume", machine.id}).status, 0);
  EXPECT_TRUE(wait_until([&] { return machine.call.signals().size() == 2; }));
}

TEST(ctl_cancel, stops_the_job_and_restart_starts_it_again) {
  transcoding_machine machine;
  const auto result = machine.ctl({"cancel", machine.id});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("Cancelled by user"));
  const auto restarted = machine.ctl({"restart", machine.id});
  EXPECT_EQ(restarted.status, 0);
  EXPECT_THAT(restarted.out, HasSubstr("Restarted by user"));
  machine.root.wait_for_call(tool::transcode, 2);
}

TEST(ctl_restart, of_a_finished_job_ends_with_5_and_the_service_s_text) {
  transcoding_machine machine;
  machine.root.release("go");
  machine.client.wait_for_transcode_state(machine.id, "done");
  const auto result = machine.ctl({"restart", machine.id});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "qx_vod_ctl: " + machine.id + ": ITEM CANNOT BE CANCELLED\n");
}

TEST(ctl_remove, of_a_running_job_ends_with_5) {
  transcoding_machine machine;
  const auto result = machine.ctl({"remove", machine.id});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err,
            "qx_vod_ctl: " + machine.id + ": ITEM IS BUSY; it is running: cancel it first\n");
}

TEST(ctl_remove, removes_items_from_the_queue) {
  ctl_machine machine;
  machine.start_with_items({"aaaa", "bbbb", "cccc"});
  const auto result = machine.ctl({"remove", "a", "b"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_TRUE(wait_until([&] { return machine.client.list()["total"].int_value() == 1; }));
}

TEST(ctl_ready, starts_an_item_that_is_held) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  const auto id = chomped(machine.ctl({"add", "--hold", "/mnt/media/clip.mpg"}).out);
  const auto result = machine.ctl({"ready", id});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, id + "  ready: init  Ready\n");
  machine.client.wait_for_transcode_state(id, "done");
}

TEST(ctl_ready, refusal_gives_the_reason) {
  ctl_machine machine;
  machine.start();
  const std::string id = machine.client.add_file("/mnt/media/absent.mpg");
  const auto result = machine.ctl({"ready", id});
  EXPECT_EQ(result.status, 5);
  EXPECT_EQ(result.err, "qx_vod_ctl: " + id +
                            ": ONE OR MORE PARAMETERS CANNOT BE MODIFIED (Rejected: file not "
                            "accessible, No such file or directory)\n");
}

TEST(ctl_modify, changes_several_fields) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  machine.root.plan(tool::quote, tool_plan().print("*QUOTE\n.. a=b\n"));
  const auto result = machine.ctl({"modify", "a", "transcode profile=a=b", "delete on finish=1"});
  EXPECT_EQ(result.status, 0) << result.err;
  const auto item = machine.client.item("aaaa");
  EXPECT_EQ(item["transcode profile"].string_value(), "a=b");
  EXPECT_TRUE(item["delete on finish"].bool_value());
}

TEST(ctl_modify, relative_input_file_is_made_absolute) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/clip.mpg");
  const std::string id = machine.client.add({});
  EXPECT_EQ(machine.ctl_in("/mnt/media", {"modify", id, "input file=./clip.mpg"}).status, 0);
  EXPECT_EQ(machine.client.item(id)["input file"].string_value(), "/mnt/media/clip.mpg");
}

TEST(ctl_modify, unknown_name_ends_with_5) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  const auto result = machine.ctl({"modify", "a", "Paused=1"});
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.err, HasSubstr("ONE OR MORE PARAMETERS CANNOT BE MODIFIED"));
}

TEST(ctl_json, raw_reply_of_a_command_is_the_item_also_when_it_is_refused) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  const auto paused = machine.ctl({"pause", "a", "--json"});
  EXPECT_TRUE(parsed(paused.out)["paused"].bool_value());
  const auto refused = machine.ctl({"modify", "--json", "a", "Paused=1"});
  EXPECT_EQ(refused.status, 5);
  EXPECT_EQ(parsed(refused.out)["entry id"].string_value(), "aaaa");
}

TEST(ctl_commands, one_run_handles_many_items) {
  ctl_machine machine;
  machine.start_with_items({"aaaa", "bbbb"});
  const auto result = machine.ctl({"pause", "b", "a", "bbbb"});
  EXPECT_THAT(lines_of(result.out),
              ElementsAre("bbbb  cancelled  Paused", "aaaa  cancelled  Paused"));
}
