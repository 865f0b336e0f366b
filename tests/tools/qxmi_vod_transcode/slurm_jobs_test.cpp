// The commands for the tasks of a cluster, and what they print.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/media/process_runner.h"
#include "tools/qxmi_vod_transcode/spread/slurm_jobs.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

namespace {

slurm_array some_array() {
  slurm_array array;
  array.name = "qxvod-1";
  array.tasks = 12;
  array.processors = 4;
  array.command = {"/usr/bin/tool"};
  return array;
}

std::string script_in(const std::vector<std::string>& command) {
  for (const std::string& argument : command) {
    if (argument.rfind("--wrap=", 0) == 0) { return argument.substr(7); }
  }
  return {};
}

slurm_task running(std::int64_t job, std::int64_t number) {
  slurm_task task;
  task.job = job;
  task.task = number;
  task.state = "R";
  return task;
}

}  // namespace

TEST(submission, asks_for_all_tasks_in_one_array) {
  const auto command = submit_command(some_array());
  EXPECT_EQ(command[0], "/usr/bin/sbatch");
  EXPECT_THAT(command, AllOf(Contains("--array=0-11"), Contains("--job-name=qxvod-1"),
                             Contains("--cpus-per-task=4"), Contains("--requeue"),
                             Contains("--parsable"), Contains("--export=NONE")));
  EXPECT_THAT(command, Not(Contains(StartsWith("--partition"))));
}

TEST(submission, may_limit_how_many_run_at_once_and_where) {
  slurm_array array = some_array();
  array.at_once = 3;
  array.partition = "vod";
  EXPECT_THAT(submit_command(array),
              AllOf(Contains("--array=0-11%3"), Contains("--partition=vod")));
}

TEST(submission, may_exclude_nodes) {
  slurm_array array = some_array();
  array.excluded = {"n1", "n2"};
  EXPECT_THAT(submit_command(array), Contains("--exclude=n1,n2"));
}

TEST(submission, may_name_the_tasks) {
  slurm_array array = some_array();
  array.only = {2, 7};
  EXPECT_THAT(submit_command(array), Contains("--array=2,7"));
}

TEST(submission, runs_the_command_with_exactly_its_words) {
  const std::vector<std::string> words = {
      "a b", "it's", "$HOME `id` $(id)", "%d \\ \"x\"", "a\nb\n", "", "-n", "#SBATCH --uid=0"};
  slurm_array array = some_array();
  array.command = {"/usr/bin/printf", "<%s>"};
  array.command.insert(array.command.end(), words.begin(), words.end());
  program_request shell;
  shell.argv = {"/bin/sh", "-c", "SLURM_ARRAY_TASK_ID=5\n" + script_in(submit_command(array))};
  std::string expected;
  for (const std::string& word : words) {
    expected += "<" + word + ">";
  }
  EXPECT_EQ(run_program(shell).output, expected + "<5>");
}

TEST(job_number, is_read_from_the_first_line) {
  EXPECT_EQ(read_job_number("123\n"), 123);
  EXPECT_EQ(read_job_number("123;vod\n"), 123);
}

TEST(job_number, is_not_read_from_anything_else) {
  for (const char* const text : {"", "\n", "0\n", "-1\n", "12x\n", "99999999999999999999\n",
                                 "sbatch: error: 12\n", " 12\n"}) {
    EXPECT_FALSE(read_job_number(text).has_value()) << text;
  }
}

TEST(tasks, are_read_with_their_state_and_node) {
  const auto tasks = read_tasks("7_[4-9%2] PD \n7_1 R n1\n7_2 CG n-2.site\n8 PD\n");
  ASSERT_THAT(tasks, SizeIs(4));
  EXPECT_FALSE(tasks[0].task.has_value());
  EXPECT_TRUE(tasks[0].waits());
  EXPECT_EQ(tasks[0].id(), "7");
  EXPECT_TRUE(tasks[1].runs());
  EXPECT_EQ(tasks[1].id(), "7_1");
  EXPECT_EQ(tasks[1].node, "n1");
  EXPECT_FALSE(tasks[2].runs());
  EXPECT_FALSE(tasks[2].waits());
  EXPECT_EQ(tasks[2].node, "n-2.site");
  EXPECT_EQ(tasks[3].node, "");
}

TEST(tasks, are_not_read_from_lines_that_are_none) {
  EXPECT_THAT(read_tasks("slurm_load_jobs error: Unable to contact slurm controller\n"
                         "_1 R n1\n7_ R n1\n7_x R n1\n7_-1 R n1\n-7_1 R n1\n0_1 R n1\n"
                         "99999999999999999999_1 R n1\n7_1\n\n"),
              IsEmpty());
}

TEST(signals, go_to_running_tasks_only) {
  slurm_task ending = running(7, 2);
  ending.state = "CG";
  slurm_task waiting = running(7, 3);
  waiting.task.reset();
  waiting.state = "PD";
  EXPECT_THAT(
      signal_commands("USR1", {running(7, 1), ending, waiting, running(8, 0)}),
      ElementsAre(ElementsAre("/usr/bin/scancel", "--batch", "--signal=USR1", "7_1", "8_0")));
  EXPECT_THAT(signal_commands("USR1", {ending, waiting}), IsEmpty());
}

TEST(signals, to_many_tasks_are_sent_in_several_commands) {
  std::vector<slurm_task> tasks;
  for (std::int64_t number = 0; number < 450; ++number) {
    tasks.push_back(running(7, number));
  }
  const auto commands = signal_commands("USR2", tasks);
  ASSERT_THAT(commands, SizeIs(3));
  EXPECT_THAT(commands[0], SizeIs(203));
  EXPECT_THAT(commands[2], SizeIs(53));
  EXPECT_EQ(commands[2].back(), "7_449");
}

TEST(a_task_held_back, may_begin_at_once) {
  EXPECT_THAT(start_now_command(running(7, 2)),
              ElementsAre("/usr/bin/scontrol", "update", "JobId=7_2", "StartTime=now"));
}

TEST(a_job, is_held_and_released_by_its_number) {
  EXPECT_THAT(hold_command(7), ElementsAre("/usr/bin/scontrol", "hold", "7"));
  EXPECT_THAT(release_command(7), ElementsAre("/usr/bin/scontrol", "release", "7"));
}

TEST(cancelling, goes_on_without_the_tool) {
  EXPECT_THAT(cancel_command({7, 8}),
              ElementsAre("/usr/bin/setsid", "--fork", "/usr/bin/scancel", "7", "8"));
}
