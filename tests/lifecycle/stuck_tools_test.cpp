// Tools that do not end after a cancel, in the shipped service, with its own time limits.
#include <csignal>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;

namespace {

constexpr std::chrono::seconds past_a_minute{110};

class stuck_tool : public ::testing::Test {
protected:
  stuck_tool() {
    machine_.root.write_source("/mnt/media/clip.mpg", "video/mp4");
    machine_.root.write_source("/mnt/media/next.mpg", "video/mp4");
  }
  // Starts a job and waits until this tool runs for it. Returns the job's id.
  std::string start_job(const char* tool_name, const tool_plan& plan) {
    machine_.root.plan_call(tool_name, 1, plan);
    machine_.start();
    const std::string id = machine_.client.add_ready("/mnt/media/clip.mpg");
    tool_pid_ = machine_.root.outer_pid(machine_.root.wait_for_call(tool_name).pid);
    EXPECT_TRUE(machine_.root.wait_for_mark("begun"));
    return id;
  }
  bool is_cancelled_in_time(const std::string& id) const {
    return wait_until([&] { return machine_.client.transcode_state(id) == "cancelled"; },
                      past_a_minute);
  }
  bool is_reported(const char* text) const {
    return machine_.service.stderr_text().find(text) != std::string::npos;
  }

  test_machine machine_;
  pid_t tool_pid_ = -1;
};

}  // namespace

// A stopped process takes SIGTERM only when it continues, if it has a handler for it.
TEST_F(stuck_tool, stopped_transcoder_is_continued_after_ten_seconds) {
  const std::string id =
      start_job(tool::transcode, tool_plan().catch_signal(SIGTERM).mark("begun").wait("end"));
  ASSERT_EQ(kill(tool_pid_, SIGSTOP), 0);
  EXPECT_EQ(machine_.client.command("cancel", id).status(), "OK");
  const auto call = machine_.root.wait_for_call(tool::transcode);
  EXPECT_TRUE(wait_until([&] { return call.signals() == std::vector<int>{SIGTERM}; }));
  EXPECT_TRUE(is_reported(" is still running 10 s after SIGTERM, sending SIGCONT\n"));
  machine_.root.release("end");
  EXPECT_TRUE(is_cancelled_in_time(id));
  EXPECT_FALSE(is_reported("sending SIGKILL"));
}

TEST_F(stuck_tool, transcoder_that_ignores_sigterm_is_killed_after_a_minute) {
  const std::string id =
      start_job(tool::transcode, tool_plan().catch_signal(SIGTERM).mark("begun").wait("never"));
  EXPECT_EQ(machine_.client.command("cancel", id).status(), "OK");
  EXPECT_TRUE(is_cancelled_in_time(id));
  EXPECT_TRUE(is_reported(" is still running 60 s after SIGTERM, sending SIGKILL\n"));
}

TEST_F(stuck_tool, cancelled_listing_is_ended_after_a_minute_and_the_next_one_starts) {
  const std::string id = start_job(tool::quote, tool_plan().mark("begun").wait("never"));
  const std::string next = machine_.client.add_ready("/mnt/media/next.mpg");
  EXPECT_EQ(machine_.client.command("cancel", id).status(), "OK");
  EXPECT_TRUE(is_cancelled_in_time(id));
  EXPECT_TRUE(is_reported(" is still running 60 s after the cancel, sending SIGTERM\n"));
  machine_.client.wait_for_transcode_state(next, "done");
}
