// The orders that a transcode gives to its tasks: to pause, to continue and to end.
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/cluster_bench.h"
#include "tools/qxmi_vod_transcode/spread/left_jobs.h"

using namespace qx_test;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

class cluster_orders : public cluster_bench {
protected:
  // Until the tasks have been listed.
  void start_spread() {
    start();
    ASSERT_TRUE(wait_for_call("sbatch "));
    ASSERT_TRUE(wait_for_call("squeue --noheader --array --me", 3));
  }
  // Two tasks run, and the others wait for this reason.
  void start_with_two_at_work(const char* reason) {
    put("begun",
        task_lines(7, 0, 2, "R", "n1", "None") + task_lines(7, 2, tasks, "PD", "", reason));
    start_spread();
  }
  void end_tool(int number) {
    signal(number);
    EXPECT_EQ(wait(), 128 + number);
  }
  bool is_paused_within(bool expected) const {
    const std::string file = in_work("paused");
    return wait_until([&] { return exists(file) == expected; });
  }
  std::ptrdiff_t place_of(const std::string& words) const {
    const std::vector<std::string> all = calls();
    return std::find_if(all.begin(), all.end(),
                        [&](const auto& call) { return call.find(words) != call.npos; }) -
           all.begin();
  }
};

// Of a stand-in: goes on when the test has put the file `gate`.
std::string waits_for(const std::string& gate) {
  return "until [ -e /run/slurm/" + gate + " ]; do sleep 0.02; done\n";
}

}  // namespace

TEST_F(cluster_orders, hold_and_suspend_in_a_pause_and_take_it_back) {
  start_with_two_at_work("Resources");
  signal(SIGUSR1);
  EXPECT_TRUE(wait_for_call("scontrol hold 7"));
  EXPECT_TRUE(wait_for_call("scancel --batch --signal=USR1 7_0 7_1"));
  EXPECT_TRUE(is_paused_within(true));
  signal(SIGUSR2);
  EXPECT_TRUE(wait_for_call("scontrol release 7"));
  EXPECT_TRUE(wait_for_call("scancel --batch --signal=USR2 7_0 7_1"));
  EXPECT_TRUE(is_paused_within(false));
}

TEST_F(cluster_orders, do_not_overtake_each_other) {
  let("scontrol", "case $1 in hold) " + waits_for("gate") + "echo held >>/run/slurm/calls ;; esac");
  start_spread();
  signal(SIGUSR1);
  ASSERT_TRUE(wait_for_call("scontrol hold 7"));
  ASSERT_TRUE(is_paused_within(true));
  signal(SIGUSR2);
  ASSERT_TRUE(is_paused_within(false));
  put("gate", "");
  ASSERT_TRUE(wait_for_call("scontrol release 7"));
  ASSERT_TRUE(wait_for_call("held"));
  EXPECT_LT(place_of("held"), place_of("scontrol release 7"));
}

// A sender may try again long after the signal has arrived.
TEST_F(cluster_orders, do_not_send_an_old_signal_after_a_new_one) {
  let("scancel",
      "case \"$*\" in *USR1*) " + waits_for("gate") + "echo late >>/run/slurm/calls ;; esac");
  start_spread();
  signal(SIGUSR1);
  ASSERT_TRUE(wait_for_call("--signal=USR1"));
  signal(SIGUSR2);
  ASSERT_TRUE(wait_for_call("--signal=USR2"));
  const std::size_t listings = calls_with("squeue --noheader --array --me");
  put("gate", "");
  ASSERT_TRUE(wait_for_call("squeue --noheader --array --me", listings + 1));
  EXPECT_EQ(calls_with("late"), 0U);
}

TEST_F(cluster_orders, reach_tasks_that_began_after_the_last_listing) {
  put("begun",
      task_lines(7, 0, 1, "R", "n1", "None") + task_lines(7, 1, tasks, "PD", "", "Resources"));
  start_spread();
  put("queue",
      task_lines(7, 0, 2, "R", "n1", "None") + task_lines(7, 2, tasks, "PD", "", "Resources"));
  signal(SIGUSR1);
  EXPECT_TRUE(wait_until(
      [&] { return calls_with("--signal=USR1 7_1") + calls_with("--signal=USR1 7_0 7_1") > 0; }));
}

TEST_F(cluster_orders, hold_what_was_just_being_submitted) {
  put("begun", task_lines(7, 1, tasks, "R", "n1", "None"));
  let("sbatch", "if [ -e /run/slurm/again ]; then " + waits_for("gate") + "echo 8; exit; fi\n" +
                    "mv /run/slurm/begun /run/slurm/queue; : >/run/slurm/again; echo 7\n");
  start();
  ASSERT_TRUE(wait_for_call("sbatch ", 2));
  signal(SIGUSR1);
  ASSERT_TRUE(wait_for_call("scontrol hold 7"));
  put("gate", "");
  EXPECT_TRUE(wait_for_call("scontrol hold 8"));
}

TEST_F(cluster_orders, let_the_tasks_of_a_tool_go_on_that_was_killed_in_a_pause) {
  start_with_two_at_work("JobHeldUser");
  signal(SIGUSR1);
  ASSERT_TRUE(wait_for_call("scontrol hold 7"));
  ASSERT_TRUE(wait_for_call("--signal=USR1 7_0 7_1"));
  ASSERT_TRUE(is_paused_within(true));
  end_tool(SIGKILL);
  start();
  EXPECT_TRUE(wait_for_call("scontrol release 7"));
  EXPECT_TRUE(wait_for_call("scancel --batch --signal=USR2 7_0 7_1"));
  EXPECT_TRUE(is_paused_within(false));
  EXPECT_EQ(calls_with("sbatch "), 1U);
}

TEST_F(cluster_orders, remove_a_sign_to_wait_that_could_not_be_removed_at_once) {
  start_spread();
  signal(SIGUSR1);
  ASSERT_TRUE(is_paused_within(true));
  ASSERT_TRUE(wait_for_call("scontrol hold 7"));
  const std::string file = in_work("paused");
  fs::remove(file);
  fs::create_directory(file);
  signal(SIGUSR2);
  ASSERT_TRUE(wait_for_call("scontrol release 7"));
  fs::remove(file);
  write_file(file, "");
  EXPECT_TRUE(is_paused_within(false));
}

TEST_F(cluster_orders, end_the_tasks_by_number) {
  start_spread();
  end_tool(SIGTERM);
  EXPECT_TRUE(wait_for_call("scancel 7"));
}

TEST_F(cluster_orders, end_the_tasks_by_name_while_the_number_is_not_known) {
  let("sbatch", waits_for("gate"));
  start();
  ASSERT_TRUE(wait_for_call("sbatch "));
  end_tool(SIGTERM);
  EXPECT_TRUE(wait_for_call("scancel --me --name=qxvod-"));
}

TEST_F(cluster_orders, end_what_a_tool_has_left_for_good) {
  put("comments", "9|qxvod-1|" + comment_for("/nowhere") + "\n10|film|" + comment_for("/nowhere") +
                      "\n11|qxvod-2|elsewhere:/nowhere\n");
  start_spread();
  EXPECT_TRUE(wait_for_call("scancel 9"));
  EXPECT_EQ(calls_with("scancel"), 1U);
}

// Each lost node would otherwise cost a process for each of its tasks, every few seconds.
TEST_F(cluster_orders, hurry_tasks_of_a_lost_node_once_and_together) {
  put("begun",
      task_lines(7, 0, 3, "PD", "", "BeginTime") + task_lines(7, 3, tasks, "PD", "", "Resources"));
  start_spread();
  ASSERT_TRUE(wait_for_call("scontrol update JobId=7_0,7_1,7_2 StartTime=now"));
  ASSERT_TRUE(wait_for_call("squeue --noheader --array --me", 5));
  EXPECT_EQ(calls_with("scontrol update"), 1U);
}

TEST_F(cluster_orders, keep_waiting_tasks_from_a_node_that_refuses) {
  put("begun",
      task_lines(7, 0, 1, "R", "n1", "None") + task_lines(7, 1, tasks, "PD", "", "Resources"));
  start_spread();
  set_refusing(open_work().get(), "n2");
  EXPECT_TRUE(wait_for_call("scontrol update JobId=7 ExcNodeList=n2"));
}

// The folder may show what a task has written last only after Slurm has forgotten the task.
TEST_F(cluster_orders, submit_no_task_again_that_is_done) {
  start_spread();
  put("rest", task_lines(7, 0, 5, "R", "n1", "None") + task_lines(7, 6, tasks, "R", "n1", "None"));
  let("squeue", "case \"$*\" in\n*--name=*)\n  : >" + in_work("done-" + note().token + "-5") +
                    "\n  cat /run/slurm/rest\n  ;;\nesac\n");
  const std::size_t listings = calls_with("--name=");
  EXPECT_TRUE(wait_for_call("--name=", listings + 3));
  EXPECT_EQ(calls_with("sbatch"), 1U);
}
