// The commands for the tasks of a cluster, and what they print.
#include <algorithm>
#include <cstdlib>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"
#include "tools/media/process_runner.h"
#include "tools/qxmi_vod_transcode/spread/slurm_jobs.h"

using qx_test::scratch_folder;
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
                             Contains("--parsable"), Contains("--export=ALL")));
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

TEST(submission, may_have_a_comment) {
  slurm_array array = some_array();
  array.comment = "vod:/mnt";
  EXPECT_THAT(submit_command(array), Contains("--comment=vod:/mnt"));
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

// As the cluster's own script does, with signals as they are for any process.
TEST(submission, survives_signals_that_come_before_the_command_can_obey_them) {
  slurm_array array = some_array();
  array.command = {"/bin/sh", "-c", "kill -USR1 $$; kill -USR2 $$; echo alive"};
  const scratch_folder folder;
  std::ofstream(folder.file("script")) << "#!/bin/sh\nSLURM_ARRAY_TASK_ID=5\n"
                                       << script_in(submit_command(array)) << "\n";
  const std::string command = "/bin/sh " + folder.file("script") + " > " + folder.file("output");
  EXPECT_EQ(std::system(command.c_str()), 0);
  std::string line;
  std::getline(std::ifstream(folder.file("output")), line);
  EXPECT_EQ(line, "alive");
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
  const auto tasks =
      read_tasks("7_[4-9%2]|PD||Resources\n7_1|R|n1|None\n7_2|CG|n-2.site|None\n8|PD||None\n");
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
  EXPECT_EQ(tasks[0].reason, "Resources");
}

TEST(tasks, are_held_by_a_person_or_by_the_cluster) {
  for (const char* const line :
       {"7_1|PD||JobHeldUser", "7_1|PD||JobHeldAdmin", "7_1|PD||launch failed requeued held",
        "7_1|RH||None", "7_1|SE||None"}) {
    EXPECT_TRUE(read_tasks(line).at(0).is_held()) << line;
  }
  for (const char* const line : {"7_1|PD||Resources", "7_1|R|n1|None", "7_1|S|n1|None"}) {
    EXPECT_FALSE(read_tasks(line).at(0).is_held()) << line;
  }
}

TEST(tasks, are_put_off_until_a_time) {
  EXPECT_TRUE(read_tasks("7_1|PD||BeginTime").at(0).is_put_off());
  EXPECT_FALSE(read_tasks("7_1|PD||Resources").at(0).is_put_off());
  EXPECT_FALSE(read_tasks("7|PD||BeginTime").at(0).is_put_off());
}

TEST(tasks, that_have_ended_say_so) {
  EXPECT_TRUE(read_tasks("7_1|F|n1|NonZeroExitCode").at(0).has_ended());
  EXPECT_TRUE(read_tasks("7_1|PR|n1|None").at(0).has_ended());
  for (const char* const line : {"7_1|S|n1|None", "7_1|ST|n1|None", "7_1|RQ||None",
                                 "7_1|SO|n1|None", "7_1|CG|n1|None", "7_1|PD||Priority"}) {
    EXPECT_FALSE(read_tasks(line).at(0).has_ended()) << line;
  }
}

TEST(tasks, are_listed_one_by_one) {
  EXPECT_THAT(task_listing("qxvod-1"),
              AllOf(Contains("--array"), Contains("--me"), Contains("--name=qxvod-1")));
}

TEST(waiting_jobs, of_others_want_processors) {
  const char* const listing = "4|Resources|film\n16|Priority|qxvod-2\n1|None|more|with bars\n";
  EXPECT_EQ(processors_waited_for(listing, "qxvod-1"), 21);
  EXPECT_EQ(processors_waited_for(listing, "qxvod-2"), 5);
}

TEST(waiting_jobs, that_do_not_come_first_do_not_count) {
  EXPECT_EQ(processors_waited_for("4|JobHeldUser|a\n4|Dependency|b\n4|BeginTime|c\n"
                                  "4|JobArrayTaskLimit|d\nx|Resources|e\n-1|Resources|f\n\n",
                                  "qxvod-1"),
            0);
}

TEST(waiting_jobs, are_those_of_the_partition) {
  EXPECT_THAT(waiting_listing("vod"), AllOf(Contains("--partition=vod"), Contains("--states=PD")));
}

TEST(commented_jobs, are_read_with_name_and_comment) {
  const auto jobs = read_commented_jobs("7|qxvod-1|vod:/mnt|x\n8|other|(null)\nx|y|z\n0|a|b\n");
  ASSERT_THAT(jobs, SizeIs(2));
  EXPECT_EQ(jobs[0].number, 7);
  EXPECT_EQ(jobs[0].name, "qxvod-1");
  EXPECT_EQ(jobs[0].comment, "vod:/mnt|x");
}

TEST(tasks, are_not_read_from_lines_that_are_none) {
  EXPECT_THAT(read_tasks("slurm_load_jobs error: Unable to contact slurm controller\n"
                         "_1|R|n1|None\n7_|R|n1|None\n7_x|R|n1|None\n7_-1|R|n1|None\n"
                         "-7_1|R|n1|None\n0_1|R|n1|None\n99999999999999999999_1|R|n1|None\n"
                         "7_1\n7_1||n1|None\n\n"),
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

TEST(tasks_put_off, may_begin_at_once) {
  EXPECT_THAT(
      start_now_commands({running(7, 2), running(8, 3)}),
      ElementsAre(ElementsAre("/usr/bin/scontrol", "update", "JobId=7_2,8_3", "StartTime=now")));
  EXPECT_THAT(start_now_commands({}), IsEmpty());
}

TEST(tasks_put_off, are_named_in_as_few_commands_as_it_takes) {
  std::vector<slurm_task> tasks;
  for (std::int64_t number = 0; number < 450; ++number) {
    tasks.push_back(running(7, number));
  }
  EXPECT_THAT(start_now_commands(tasks), SizeIs(3));
}

TEST(jobs, are_held_and_released_by_their_numbers) {
  EXPECT_THAT(hold_command({7, 8}), ElementsAre("/usr/bin/scontrol", "hold", "7,8"));
  EXPECT_THAT(release_command({7}), ElementsAre("/usr/bin/scontrol", "release", "7"));
}

TEST(jobs, are_kept_from_nodes) {
  EXPECT_THAT(exclude_command({7, 8}, {"n1", "n2"}),
              ElementsAre("/usr/bin/scontrol", "update", "JobId=7,8", "ExcNodeList=n1,n2"));
}

TEST(cancelling, goes_on_without_the_tool) {
  const auto command = cancel_command({7, 8});
  EXPECT_THAT(command, testing::Contains("/usr/bin/scancel"));
  EXPECT_THAT(command, AllOf(Contains("7"), Contains("8")));
  EXPECT_THAT(cancel_by_name_command("qxvod-1"),
              AllOf(Contains("/usr/bin/scancel"), Contains("--me"), Contains("--name=qxvod-1")));
  EXPECT_THAT(command[2], testing::HasSubstr("setsid --fork"));
}

// A pipe that the tool has closed would end the command.
TEST(cancelling, writes_nothing_to_the_tool) {
  std::vector<std::string> command = cancel_command({7});
  *std::find(command.begin(), command.end(), "/usr/bin/scancel") = "/bin/echo";
  program_request request;
  request.argv = command;
  const program_result result = run_program(request);
  EXPECT_TRUE(result.success()) << result.cause();
  EXPECT_EQ(result.output, "");
}
