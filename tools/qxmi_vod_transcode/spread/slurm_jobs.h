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
  std::string comment;                // one word; empty for none
  std::vector<std::string>
      command;  // any bytes but NUL; the task's number becomes the last argument
};

// A line of squeue.
struct slurm_task {
  std::int64_t job = 0;
  std::optional<std::int64_t> task;  // none for a job that is not an array
  std::string state;                 // in squeue's short form: "PD", "R", "CG", ...
  std::string node;
  std::string reason;  // why it is in that state: "Resources", "BeginTime", ...

  bool runs() const { return task.has_value() && state == "R"; }
  bool waits() const { return state == "PD" || state == "CF"; }
  bool ends() const { return state == "CG"; }
  // It waits until somebody releases it, as the cluster does with what a node could not start.
  bool is_held() const;
  // It may begin only at a later time, since its node was lost.
  bool is_put_off() const { return task.has_value() && state == "PD" && reason == "BeginTime"; }
  // What squeue lists only for a moment, or if it is asked to.
  bool has_ended() const;
  std::string id() const;  // "12_3", or "12" without a task
};

// Quotes `text` for the shell, so that it is one word and means itself.
std::string shell_word(const std::string& text);

// Submits the array; prints its number.
std::vector<std::string> submit_command(const slurm_array& array);
std::optional<std::int64_t> read_job_number(std::string_view text);

// Lists this user's tasks with this name that have not ended, each on a line of its own. Other
// lines are ignored.
std::vector<std::string> task_listing(const std::string& name);
std::vector<slurm_task> read_tasks(std::string_view text);

// Lists what waits in a partition, and says how many processors are wanted by jobs that others than
// those with `own_name` wait for and that come before a new one.
std::vector<std::string> waiting_listing(const std::string& partition);
int processors_waited_for(std::string_view text, const std::string& own_name);

// Lists all jobs of this user with their comments. Other lines are ignored.
struct commented_job {
  std::int64_t number = 0;
  std::string name;
  std::string comment;
};
std::vector<std::string> comment_listing();
std::vector<commented_job> read_commented_jobs(std::string_view text);

// Sends `signal` ("USR1", ...) to those of the tasks that run, in as many commands as it takes.
// Only running tasks are named: scancel would go on trying to signal waiting ones for a minute and
// a half.
std::vector<std::vector<std::string>> signal_commands(const std::string& signal,
                                                      const std::vector<slurm_task>& tasks);

// Keeps the tasks of the jobs that have not begun from beginning, and lets them begin again. There
// must be a job.
std::vector<std::string> hold_command(const std::vector<std::int64_t>& jobs);
std::vector<std::string> release_command(const std::vector<std::int64_t>& jobs);

// Lets tasks begin that the cluster holds back for minutes because their nodes were lost, in as
// many commands as it takes.
std::vector<std::vector<std::string>> start_now_commands(const std::vector<slurm_task>& tasks);

// Keeps the tasks of the jobs that have not begun from these nodes.
std::vector<std::string> exclude_command(const std::vector<std::int64_t>& jobs,
                                         const std::vector<std::string>& nodes);

// Ends all tasks of the jobs, or all of this user with this name. The commands go on by themselves:
// they survive this process and write to nothing of it.
std::vector<std::string> cancel_command(const std::vector<std::int64_t>& jobs);
std::vector<std::string> cancel_by_name_command(const std::string& name);
