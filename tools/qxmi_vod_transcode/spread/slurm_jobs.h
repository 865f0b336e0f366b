// The commands with which tasks of a Slurm cluster are started and controlled, as argument vectors,
// and what these commands print. Nothing here runs a command.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Tasks 0 to `tasks` - 1, each of which runs `command`.
struct slurm_array {
  std::string name;
  std::int64_t tasks = 1;
  std::vector<std::int64_t> only;     // these tasks alone, unless it is empty
  std::vector<std::string> excluded;  // nodes
  int at_once = 0;                    // how many may run at the same time; 0 for all
  std::string partition;              // empty for the cluster's default
  int processors = 1;                 // of each task
  std::vector<std::string>
      command;  // any bytes but NUL; the task's number becomes the last argument
};

// A line of squeue.
struct slurm_task {
  std::int64_t job = 0;
  std::optional<std::int64_t> task;  // none for all tasks of the job that have not begun
  std::string state;                 // in squeue's short form: "PD", "R", "CG", ...
  std::string node;

  bool runs() const { return task.has_value() && state == "R"; }
  bool waits() const { return state == "PD" || state == "CF"; }
  std::string id() const;  // "12_3", or "12" without a task
};

// Quotes `text` for the shell, so that it is one word and means itself.
std::string shell_word(const std::string& text);

// Submits the array; prints its number.
std::vector<std::string> submit_command(const slurm_array& array);
std::optional<std::int64_t> read_job_number(std::string_view text);

// Lists this user's tasks with this name that have not ended. Other lines are ignored.
std::vector<std::string> task_listing(const std::string& name);
std::vector<slurm_task> read_tasks(std::string_view text);

// Sends `signal` ("USR1", ...) to those of the tasks that run, in as many commands as it takes.
// Only running tasks are named: scancel would go on trying to signal waiting ones for a minute and
// a half.
std::vector<std::vector<std::string>> signal_commands(const std::string& signal,
                                                      const std::vector<slurm_task>& tasks);

// Keeps the tasks of the job that have not begun from beginning, and lets them begin again.
std::vector<std::string> hold_command(std::int64_t job);
std::vector<std::string> release_command(std::int64_t job);

// Lets a task begin that the cluster holds back for minutes because its node was lost.
std::vector<std::string> start_now_command(const slurm_task& task);

// Ends all tasks of the jobs. The command goes on by itself: it survives this process.
std::vector<std::string> cancel_command(const std::vector<std::int64_t>& jobs);
