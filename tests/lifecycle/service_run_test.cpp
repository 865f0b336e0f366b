// Several jobs at once and users who change their minds: order, pause, resume, cancel, progress,
// shutdown, and which signals reach which process.
#include <csignal>

#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

class service_run : public ::testing::Test {
protected:
  // A transcoder that runs until the test calls release("end"), and survives the signals it
  // catches.
  static tool_plan long_transcode() {
    return tool_plan()
        .catch_signal(SIGUSR1)
        .catch_signal(SIGUSR2)
        .print("Encoding: frame=1/4\n")
        .mark("transcoding")
        .wait("end")
        .write("{-o}", "video");
  }
  std::string add(const std::string& name) {
    machine_.root.write_source("/mnt/media/" + name, "video/mpeg");
    return machine_.client.add_ready("/mnt/media/" + name);
  }
  bool is_alive(int inner_pid) const { return machine_.root.outer_pid(inner_pid) > 0; }
  static bool caught(const tool_call& call, const std::vector<int>& signals) {
    return wait_until([&] { return call.signals() == signals; });
  }
  // Whether the state stays the same while the service makes several passes.
  bool stays(const std::string& id, const std::string& state) {
    for (int i = 0; i < 20; ++i) {
      if (machine_.client.transcode_state(id) != state) { return false; }
    }
    return true;
  }

  test_machine machine_;
};

}  // namespace

TEST_F(service_run, one_transcode_runs_at_a_time_in_queue_order) {
  machine_.root.plan_call(tool::transcode, 1, long_transcode());
  machine_.start();
  const auto first = add("first.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("transcoding"));
  const auto second = add("second.mpg");
  machine_.client.wait_for_item(
      second, [](const auto& item) { return item["ready state"] == "ready to transcode"; });
  EXPECT_TRUE(stays(second, "ready"));
  EXPECT_EQ(machine_.root.calls(tool::transcode).size(), 1U);
  machine_.root.release("end");
  machine_.client.wait_for_transcode_state(first, "done");
  machine_.client.wait_for_transcode_state(second, "done");
}

TEST_F(service_run, one_listing_runs_at_a_time) {
  machine_.root.plan_call(tool::quote, 1,
                          tool_plan().mark("listing").wait("end").print("*QUOTE\n.. 720\n"));
  machine_.start();
  add("first.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("listing"));
  const auto second = add("second.mpg");
  machine_.client.wait_for_item(
      second, [](const auto& item) { return item["ready state"] == "query profiles"; });
  EXPECT_TRUE(stays(second, "ready"));
  EXPECT_EQ(machine_.root.calls(tool::quote).size(), 1U);
  machine_.root.release("end");
  machine_.client.wait_for_transcode_state(second, "done");
}

TEST_F(service_run, cancelled_listing_that_keeps_printing_does_not_block_others) {
  machine_.root.plan_call(tool::quote, 1,
                          tool_plan().mark("listing").wait("cancelled").fill(300000).exit(0));
  machine_.start();
  const auto first = add("first.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("listing"));
  EXPECT_EQ(machine_.client.command("cancel", first).status(), "OK");
  const auto second = add("second.mpg");
  machine_.root.release("cancelled");
  EXPECT_EQ(machine_.client.wait_for_transcode_state(first, "cancelled")["state"],
            "Cancelled by user");
  machine_.client.wait_for_transcode_state(second, "done");
}

TEST_F(service_run, overlong_listing_ends_and_keeps_its_text) {
  machine_.root.plan_call(tool::quote, 1, tool_plan().fill(300000).exit(0));
  machine_.start();
  const auto first = add("first.mpg");
  const auto second = add("second.mpg");
  EXPECT_EQ(machine_.client.wait_for_transcode_state(first, "cancelled")["state"],
            "Rejected: utility std-output buffer overrun. Please report to Velmar staff.");
  machine_.client.wait_for_transcode_state(second, "done");
}

TEST_F(service_run, transcoder_that_ends_no_line_is_not_blocked) {
  machine_.root.plan(tool::transcode, tool_plan().fill(300000).write("{-o}", "video"));
  machine_.start();
  machine_.client.wait_for_transcode_state(add("clip.mpg"), "done");
}

TEST_F(service_run, transcoder_ends_with_a_service_that_is_killed) {
  machine_.root.plan(tool::transcode, tool_plan().mark("up").wait("never"));
  machine_.start();
  add("clip.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("up"));
  const auto call = machine_.root.wait_for_call(tool::transcode);
  machine_.service.kill();
  EXPECT_TRUE(wait_until([&] { return !is_alive(call.pid); }));
}

TEST_F(service_run, pause_suspends_the_transcode_and_lets_the_next_one_start) {
  machine_.root.plan_call(tool::transcode, 1, long_transcode());
  machine_.start();
  const auto first = add("first.mpg");
  const auto call = machine_.root.wait_for_call(tool::transcode);
  ASSERT_TRUE(machine_.root.wait_for_mark("transcoding"));
  const auto second = add("second.mpg");
  EXPECT_EQ(machine_.client.command("pause", first).status(), "OK");
  EXPECT_TRUE(caught(call, {SIGUSR1}));
  EXPECT_EQ(machine_.client.state_text(first), "Paused");
  machine_.client.wait_for_transcode_state(second, "done");
  EXPECT_EQ(machine_.client.transcode_state(first), "transcoding");
}

TEST_F(service_run, resumed_transcode_waits_for_its_turn) {
  machine_.root.plan_call(tool::transcode, 1, long_transcode());
  machine_.root.plan_call(tool::transcode, 2, tool_plan().mark("second").wait("second ends"));
  machine_.start();
  const auto first = add("first.mpg");
  const auto call = machine_.root.wait_for_call(tool::transcode);
  ASSERT_TRUE(machine_.root.wait_for_mark("transcoding"));
  add("second.mpg");
  machine_.client.command("pause", first);
  ASSERT_TRUE(machine_.root.wait_for_mark("second"));
  machine_.client.command("resume", first);
  EXPECT_EQ(machine_.client.state_text(first), "Resuming transcode...");
  EXPECT_TRUE(stays(first, "transcoding"));
  EXPECT_THAT(call.signals(), ElementsAre(SIGUSR1));
  machine_.root.release("second ends");
  EXPECT_TRUE(caught(call, {SIGUSR1, SIGUSR2}));
  machine_.client.wait_for_state_text(first, "Transcoding file...");
  machine_.root.release("end");
  machine_.client.wait_for_transcode_state(first, "done");
}

TEST_F(service_run, cancel_ends_the_transcoder_and_everything_it_started) {
  machine_.root.plan(tool::transcode, tool_plan().grandchild().mark("up").wait("never"));
  machine_.start();
  const auto id = add("clip.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("up"));
  const auto call = machine_.root.wait_for_call(tool::transcode);
  EXPECT_EQ(machine_.client.command("cancel", id).status(), "OK");
  machine_.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine_.client.state_text(id), "Cancelled by user");
  EXPECT_TRUE(wait_until([&] { return !is_alive(call.pid) && !is_alive(call.grandchild()); }));
}

TEST_F(service_run, cancel_stands_even_if_the_transcoder_succeeds) {
  machine_.root.plan(tool::transcode,
                     tool_plan().catch_signal(SIGTERM).mark("up").wait("end").exit(0));
  machine_.start();
  const auto id = add("clip.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("up"));
  machine_.client.command("cancel", id);
  EXPECT_TRUE(stays(id, "cancelling"));
  machine_.root.release("end");
  machine_.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine_.client.state_text(id), "Cancelled by user");
  EXPECT_THAT(machine_.root.calls(tool::grab), IsEmpty());
}

TEST_F(service_run, cancel_right_after_the_start_is_not_lost) {
  machine_.root.plan(tool::transcode, tool_plan().wait("never"));
  machine_.start();
  const auto id = add("clip.mpg");
  machine_.client.wait_for_transcode_state(id, "transcoding");
  machine_.client.command("cancel", id);
  machine_.client.wait_for_transcode_state(id, "cancelled");
}

TEST_F(service_run, cancel_lets_a_listing_finish) {
  machine_.root.plan(
      tool::quote,
      tool_plan().catch_signal(SIGTERM).mark("listing").wait("end").print("*QUOTE\n.. 720\n"));
  machine_.start();
  const auto id = add("clip.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("listing"));
  machine_.client.command("cancel", id);
  EXPECT_TRUE(stays(id, "cancelling"));
  machine_.root.release("end");
  const auto item = machine_.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(item["state"].string_value(), "Cancelled by user");
  EXPECT_EQ(item["quoted profile"].dump(), "[\"720\"]");
  EXPECT_THAT(machine_.root.wait_for_call(tool::quote).signals(), IsEmpty());
}

TEST_F(service_run, cancel_lets_an_identification_finish) {
  machine_.root.plan(tool::startitem,
                     tool_plan().catch_signal(SIGTERM).mark("identifying").wait("end").exit(1));
  machine_.start();
  machine_.root.write_source("/mnt/media/clip.mpg");
  const auto id = machine_.client.add_ready("/mnt/media/clip.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("identifying"));
  machine_.client.command("cancel", id);
  EXPECT_TRUE(stays(id, "cancelling"));
  machine_.root.release("end");
  machine_.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine_.client.state_text(id), "Cancelled by user");
  EXPECT_THAT(machine_.root.wait_for_call(tool::startitem).signals(), IsEmpty());
}

TEST_F(service_run, source_without_a_type_does_not_block_other_identifications) {
  machine_.root.plan_call(tool::startitem, 1, tool_plan().wait("both").exit(0));
  machine_.start();
  machine_.root.write_source("/mnt/media/first.mpg");
  machine_.root.write_source("/mnt/media/second.mpg");
  const auto first = machine_.client.add_ready("/mnt/media/first.mpg");
  ASSERT_EQ(machine_.root.wait_for_call(tool::startitem).argv.back(), "/mnt/media/first.mpg");
  const auto second = machine_.client.add_ready("/mnt/media/second.mpg");
  machine_.root.release("both");
  EXPECT_EQ(machine_.root.wait_for_call(tool::startitem, 2).argv.back(), "/mnt/media/second.mpg");
  machine_.client.wait_for_transcode_state(second, "done");
  machine_.client.wait_for_transcode_state(first, "done");
}

TEST_F(service_run, cancelled_job_can_be_run_again) {
  machine_.root.plan_call(tool::transcode, 1, tool_plan().mark("up").wait("never"));
  machine_.start();
  const auto id = add("clip.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("up"));
  machine_.client.command("cancel", id);
  machine_.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine_.client.command("ready", id).status(), "OK");
  machine_.client.wait_for_transcode_state(id, "done");
}

TEST_F(service_run, progress_follows_the_output) {
  machine_.root.plan(tool::transcode, tool_plan()
                                          .wait("one")
                                          .print("noise\nEncoding: frame=50")
                                          .wait("two")
                                          .print("/200 fps=9\r\n")
                                          .wait("three")
                                          .print("Encoding: frame=300/200\n")
                                          .wait("end"));
  machine_.start();
  const auto id = add("clip.mpg");
  machine_.client.wait_for_transcode_state(id, "transcoding");
  EXPECT_EQ(machine_.client.item(id)["transcode progress"][0].int_value(), 0);
  machine_.root.release("one");
  machine_.root.release("two");
  machine_.client.wait_for_progress(id, 2500);
  machine_.root.release("three");
  const auto item = machine_.client.wait_for_progress(id, 15000);
  const auto status = machine_.root.job_status(item["fileops job id"].int_value());
  EXPECT_EQ(status.at("transfer progress"), "15000/10000");
  machine_.root.release("end");
  machine_.client.wait_for_progress(id, 10000);
}

TEST_F(service_run, any_amount_of_output_is_read) {
  tool_plan plan;
  for (int i = 0; i < 40; ++i) {
    plan.print(std::string(8000, '.') + "\nEncoding: frame=1/2\n");
  }
  machine_.root.plan(tool::transcode, plan);
  machine_.start();
  const auto id = add("clip.mpg");
  machine_.client.wait_for_transcode_state(id, "done");
}

TEST_F(service_run, transcoder_that_closes_its_output_is_still_followed) {
  machine_.root.plan(tool::transcode, tool_plan().close_stdout().mark("closed").wait("end"));
  machine_.start();
  const auto id = add("clip.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("closed"));
  EXPECT_TRUE(machine_.service.wait_for_stderr("EOF on stdout (0 bytes in window)\n"));
  EXPECT_TRUE(stays(id, "transcoding"));
  machine_.root.release("end");
  machine_.client.wait_for_transcode_state(id, "done");
}

TEST_F(service_run, no_step_starts_on_a_machine_just_booted) {
  machine_.service.set_uptime(200);
  machine_.start();
  const auto id = add("clip.mpg");
  machine_.client.wait_for_item(
      id, [](const auto& item) { return item["ready state"] == "check meta"; });
  EXPECT_TRUE(stays(id, "ready"));
  EXPECT_THAT(machine_.root.calls(), IsEmpty());
}

TEST_F(service_run, steps_start_when_the_machine_has_been_up_long_enough) {
  machine_.service.set_uptime(290);
  machine_.start();
  machine_.client.wait_for_transcode_state(add("clip.mpg"), "done");
  EXPECT_THAT(machine_.service.stderr_text(), HasSubstr("auto transcoding will start"));
}

TEST_F(service_run, item_left_in_init_is_dropped_after_fifteen_seconds) {
  machine_.start();
  const auto begin = std::chrono::steady_clock::now();
  const auto id = machine_.client.add_file("/mnt/media/clip.mpg");
  EXPECT_TRUE(wait_until([&] { return machine_.client.item(id).is_null(); }));
  const auto stay = std::chrono::steady_clock::now() - begin;
  EXPECT_GE(stay, std::chrono::milliseconds(14900));
  EXPECT_THAT(machine_.service.stderr_text(), HasSubstr("Item '" + id + "' should terminate\n"));
}

TEST_F(service_run, interrupted_transcode_is_not_evaluated_and_runs_again) {
  machine_.root.plan_call(tool::transcode, 1, tool_plan().mark("up").wait("never"));
  machine_.start();
  const auto id = add("clip.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("up"));
  EXPECT_EQ(machine_.service.stop().status, 0);
  std::string error;
  const auto saved = json11::Json::parse(machine_.root.queue_file(), error);
  EXPECT_THAT(saved.dump(), HasSubstr("\"transcode state\": \"transcoding\""));
  EXPECT_THAT(saved.dump(), HasSubstr("Transcode will restart when transcode service resumes"));
  machine_.start();
  machine_.client.wait_for_transcode_state(id, "done");
}

TEST_F(service_run, interrupted_thumbnail_is_made_again) {
  machine_.root.plan_call(tool::grab, 1, tool_plan().mark("grabbing").wait("never"));
  machine_.start();
  const auto id = add("clip.mpg");
  ASSERT_TRUE(machine_.root.wait_for_mark("grabbing"));
  EXPECT_EQ(machine_.service.stop().status, 0);
  machine_.start();
  machine_.client.wait_for_transcode_state(id, "done");
  EXPECT_EQ(machine_.root.calls(tool::grab).size(), 2U);
}
