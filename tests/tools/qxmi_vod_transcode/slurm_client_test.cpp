// A command that runs beside the tool's other work.
#include <chrono>

#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"
#include "tests/support/wait_until.h"
#include "tools/qxmi_vod_transcode/spread/slurm_client.h"

using namespace std::chrono_literals;

namespace {

struct shell_call : slurm_call {
  explicit shell_call(const std::string& script, std::chrono::milliseconds limit = 60s) {
    start({"/bin/sh", "-c", script}, limit);
  }
  bool comes_to_an_end() {
    return qx_test::wait_until([this] { return ended(10ms); });
  }
};

}  // namespace

TEST(a_call, gives_the_output_of_a_command_that_succeeds) {
  shell_call call("echo one; echo two");
  ASSERT_TRUE(call.comes_to_an_end());
  EXPECT_TRUE(call.success());
  EXPECT_EQ(call.output(), "one\ntwo\n");
}

TEST(a_call, gives_the_last_complaint_of_one_that_fails) {
  shell_call call("echo first >&2; printf 'no \\033[1mway\\n' >&2; exit 3");
  ASSERT_TRUE(call.comes_to_an_end());
  EXPECT_FALSE(call.success());
  EXPECT_EQ(call.cause(), "no \\x1b[1mway");
}

TEST(a_call, that_fails_in_silence_has_its_status_as_cause) {
  shell_call call("exit 3");
  ASSERT_TRUE(call.comes_to_an_end());
  EXPECT_FALSE(call.success());
  EXPECT_EQ(call.cause(), "exit status 3");
}

TEST(a_call, that_is_killed_has_not_succeeded) {
  shell_call call("kill -9 $$");
  ASSERT_TRUE(call.comes_to_an_end());
  EXPECT_FALSE(call.success());
  EXPECT_EQ(call.cause(), "was killed");
}

TEST(a_call, is_not_waited_for) {
  shell_call call("exec sleep 60");
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(call.ended());
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

// Whoever waits for it would otherwise come back at once, again and again.
TEST(a_call, that_has_closed_its_output_is_waited_for_in_peace) {
  const qx_test::scratch_folder folder;
  shell_call call("exec >&- 2>&-; echo >'" + folder.file("closed") + "'; exec sleep 60");
  ASSERT_TRUE(qx_test::wait_until([&] { return folder.names().size() == 1; }));
  call.ended();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(call.ended(300ms));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 250ms);
}

TEST(a_call, that_takes_too_long_is_ended) {
  shell_call call("exec sleep 60", 50ms);
  ASSERT_TRUE(call.comes_to_an_end());
  EXPECT_FALSE(call.success());
  EXPECT_EQ(call.cause(), "does not answer");
}

TEST(a_call, that_prints_without_end_is_ended) {
  shell_call call("exec yes");
  ASSERT_TRUE(call.comes_to_an_end());
  EXPECT_FALSE(call.success());
  EXPECT_EQ(call.cause(), "too much output");
}

TEST(a_call, that_cannot_be_started_has_ended) {
  slurm_call call;
  call.start({"/nowhere/sbatch"}, 60s);
  EXPECT_TRUE(call.ended());
  EXPECT_FALSE(call.success());
  EXPECT_EQ(call.cause(), "cannot run /nowhere/sbatch: No such file or directory");
}
