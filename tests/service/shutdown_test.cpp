// Shutdown of the shipped service, with and without children that take their time.
#include <csignal>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

using steady = std::chrono::steady_clock;

constexpr char interrupted[] = "Transcode will restart when transcode service resumes";

// A plan that survives SIGTERM. The mark is only set once it does: the call is recorded earlier.
tool_plan stubborn() {
  return tool_plan().catch_signal(SIGTERM).mark("stubborn");
}

}  // namespace

class shutdown_of_service : public ::testing::Test {
protected:
  // A service with one item whose transcoder follows the plan.
  void start_transcode(const tool_plan& plan) {
    machine.root.plan(tool::transcode, plan);
    machine.root.write_source("/mnt/media/clip.mpg", "video/mp4");
    machine.start();
    id = machine.client.add_ready("/mnt/media/clip.mpg");
    call = machine.root.wait_for_call(tool::transcode);
    machine.client.wait_for_state_text(id, "Transcoding file...");
  }
  json11::Json queue_file() const {
    std::string error;
    return json11::Json::parse(machine.root.queue_file(), error);
  }
  // Sends the signal after the service has taken every earlier one.
  void signal_alone(int number) {
    const std::string status = "/proc/" + std::to_string(machine.service.pid()) + "/status";
    ASSERT_TRUE(wait_until(
        [&] { return read_file(status).find("ShdPnd:\t0000000000000000") != std::string::npos; }));
    machine.service.signal(number);
  }

  test_machine machine;
  std::string id;
  tool_call call;
};

TEST_F(shutdown_of_service, follows_each_of_three_signals) {
  for (const int number : {SIGINT, SIGTERM, SIGQUIT}) {
    machine.start();
    machine.service.signal(number);
    EXPECT_EQ(machine.service.wait_for_exit().status, 0) << number;
    EXPECT_FALSE(machine.root.exists("/run/vod.transcode.service"));
    const auto lines = machine.service.stderr_lines();
    EXPECT_THAT(lines, Contains("Shutting down transcode queue processes"));
    EXPECT_EQ(lines.back(), "Shutting down transcode queue");
  }
}

TEST_F(shutdown_of_service, writes_the_queue) {
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.service.set_uptime(10);
  machine.start();
  id = machine.client.add_ready("/mnt/media/clip.mpg");
  machine.service.stop();
  EXPECT_EQ(queue_file()["list"][0]["entry id"].string_value(), id);
}

TEST_F(shutdown_of_service, is_quick_when_the_children_obey) {
  start_transcode(tool_plan().wait("never"));
  const auto begin = steady::now();
  EXPECT_EQ(machine.service.stop().status, 0);
  EXPECT_LT(steady::now() - begin, 9s);
  EXPECT_EQ(queue_file()["list"][0]["transcode state"].string_value(), "transcoding");
  EXPECT_EQ(queue_file()["list"][0]["state"].string_value(), interrupted);
  EXPECT_TRUE(machine.root.processes().empty());
}

TEST_F(shutdown_of_service, reaches_processes_started_by_a_tool) {
  start_transcode(tool_plan().grandchild().wait("never"));
  const auto grandchild = [&] { return machine.root.outer_pid(call.grandchild()); };
  ASSERT_TRUE(wait_until([&] { return call.grandchild() > 0; }));
  ASSERT_NE(grandchild(), -1);
  machine.service.stop();
  EXPECT_TRUE(wait_until([&] { return machine.root.processes().empty(); }));
}

TEST_F(shutdown_of_service, kills_a_stubborn_transcoder_after_ten_seconds) {
  start_transcode(stubborn().wait("never"));
  const int job = machine.client.item(id)["fileops job id"].int_value();
  const auto begin = steady::now();
  ASSERT_TRUE(machine.root.wait_for_mark("stubborn"));
  machine.service.signal(SIGTERM);
  EXPECT_TRUE(wait_until([&] { return call.signals() == std::vector<int>{SIGTERM}; }));
  EXPECT_EQ(machine.service.wait_for_exit().status, 0);
  EXPECT_GE(steady::now() - begin, 10s);
  EXPECT_THAT(machine.service.stderr_lines(), Contains("proc=1 stdout=0"));
  EXPECT_EQ(queue_file()["list"][0]["state"].string_value(), interrupted);
  EXPECT_EQ(machine.root.job_status(job)["state"], interrupted);
  EXPECT_TRUE(wait_until([&] { return machine.root.processes().empty(); }));
}

TEST_F(shutdown_of_service, serves_clients_while_it_waits) {
  start_transcode(stubborn().wait("end"));
  ASSERT_TRUE(machine.root.wait_for_mark("stubborn"));
  machine.service.signal(SIGTERM);
  ASSERT_TRUE(machine.service.wait_for_stderr("proc=1 stdout=0\n"));
  EXPECT_EQ(machine.client.state_text(id), interrupted);
  EXPECT_EQ(machine.client.request("test").status(), "OK");
  machine.root.release("end");
  EXPECT_EQ(machine.service.wait_for_exit().status, 0);
}

TEST_F(shutdown_of_service, starts_no_further_step) {
  machine.root.plan(tool::quote, stubborn().print("*QUOTE\n.. 720\n").wait("end"));
  machine.root.write_source("/mnt/media/clip.mpg", "video/mp4");
  machine.start();
  id = machine.client.add_ready("/mnt/media/clip.mpg");
  call = machine.root.wait_for_call(tool::quote);
  ASSERT_TRUE(machine.root.wait_for_mark("stubborn"));
  machine.service.signal(SIGTERM);
  ASSERT_TRUE(wait_until([&] { return !call.signals().empty(); }));
  machine.root.release("end");
  EXPECT_EQ(machine.service.wait_for_exit().status, 0);
  EXPECT_EQ(machine.root.calls().size(), 1U);
  const auto item = queue_file()["list"][0];
  EXPECT_EQ(item["transcode state"].string_value(), "ready");
  EXPECT_EQ(item["ready state"].string_value(), "query profiles");
  EXPECT_EQ(item["state"].string_value(), "Ready") << "no text for what was not transcoding";
}

TEST_F(shutdown_of_service, is_forced_by_the_twentieth_signal) {
  start_transcode(stubborn().wait("never"));
  const int mixed[] = {SIGTERM, SIGINT, SIGQUIT};
  ASSERT_TRUE(machine.root.wait_for_mark("stubborn"));
  machine.service.signal(SIGTERM);
  ASSERT_TRUE(machine.service.wait_for_stderr("proc=1 stdout=0\n"));
  for (int sent = 1; sent < 19; ++sent) {
    signal_alone(mixed[sent % 3]);
  }
  ASSERT_TRUE(machine.service.wait_for_stderr("proc=1 stdout=0\nproc=1 stdout=0\n"));
  EXPECT_TRUE(machine.service.running()) << "19 signals are not enough";
  signal_alone(SIGTERM);
  EXPECT_EQ(machine.service.wait_for_exit().signal, SIGABRT);
}

TEST_F(shutdown_of_service, makes_the_transcode_start_over_at_the_next_start) {
  machine.root.plan_call(tool::transcode, 2,
                         tool_plan().write("{-o}", "video").print("Encoding: frame=1/1\n"));
  start_transcode(tool_plan().wait("never"));
  machine.service.restart();
  const auto item = machine.client.wait_for_transcode_state(id, "done");
  EXPECT_EQ(item["state"].string_value(), "Transcode complete");
  EXPECT_EQ(machine.root.calls(tool::transcode).size(), 2U);
}

TEST_F(shutdown_of_service, reaps_children_that_end_in_its_grace_period) {
  start_transcode(tool_plan().wait("never"));
  machine.service.stop();
  EXPECT_THAT(machine.service.stderr_text(),
              HasSubstr("Queue item '" + id + "' process terminated (status=0xf)\n"));
}
