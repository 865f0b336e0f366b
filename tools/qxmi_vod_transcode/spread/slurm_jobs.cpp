#include "tools/qxmi_vod_transcode/spread/slurm_jobs.h"

#include <algorithm>
#include <charconv>
#include <sstream>

#include "tools/media/slurm_nodes.h"

namespace {

constexpr std::size_t tasks_of_a_command = 200;  // a hundred is signalled in 0.1 s

bool read_number(std::string_view text, std::int64_t& number) {
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stopped == end && number >= 0;
}

// "12_3", "12_[4-9%2]" or "12"
bool read_id(std::string_view text, slurm_task& read) {
  const std::size_t bar = text.find('_');
  if (!read_number(text.substr(0, bar), read.job) || read.job == 0) { return false; }
  if (bar == std::string_view::npos) { return true; }
  const std::string_view task = text.substr(bar + 1);
  if (!task.empty() && task[0] == '[') { return true; }
  std::int64_t number = 0;
  if (!read_number(task, number)) { return false; }
  read.task = number;
  return true;
}

bool read_task(const std::string& line, slurm_task& read) {
  std::istringstream words(line);
  std::string id;
  if (!(words >> id >> read.state) || !read_id(id, read)) { return false; }
  // A task that has not begun has no node.
  words >> read.node;
  return true;
}

std::string script_of(const slurm_array& array) {
  std::string script = "exec";
  for (const std::string& word : array.command) {
    script += ' ' + shell_word(word);
  }
  return script + " \"$SLURM_ARRAY_TASK_ID\"";
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : ",") + word;
  }
  return text;
}

std::string numbers_of(const slurm_array& array) {
  std::string numbers;
  for (const std::int64_t task : array.only) {
    numbers += (numbers.empty() ? "" : ",") + std::to_string(task);
  }
  if (numbers.empty()) { numbers = "0-" + std::to_string(array.tasks - 1); }
  return array.at_once > 0 ? numbers + "%" + std::to_string(array.at_once) : numbers;
}

}  // namespace

std::string slurm_task::id() const {
  return std::to_string(job) + (task ? "_" + std::to_string(*task) : "");
}

std::string shell_word(const std::string& text) {
  std::string word = "'";
  for (const char one : text) {
    word += one == '\'' ? std::string("'\\''") : std::string(1, one);
  }
  return word + "'";
}

std::vector<std::string> submit_command(const slurm_array& array) {
  std::vector<std::string> options = {"--parsable",
                                      "--requeue",
                                      "--job-name=" + array.name,
                                      "--array=" + numbers_of(array),
                                      "--nodes=1",
                                      "--ntasks=1",
                                      "--cpus-per-task=" + std::to_string(array.processors),
                                      "--chdir=/",
                                      "--output=/dev/null",
                                      "--export=NONE"};
  if (!array.partition.empty()) { options.push_back("--partition=" + array.partition); }
  if (!array.excluded.empty()) { options.push_back("--exclude=" + joined(array.excluded)); }
  options.push_back("--wrap=" + script_of(array));
  return slurm_command("sbatch", options);
}

// The number, and the cluster's name after a semicolon where it has several.
std::optional<std::int64_t> read_job_number(std::string_view text) {
  std::int64_t number = 0;
  const std::string_view line = text.substr(0, text.find('\n'));
  if (!read_number(line.substr(0, line.find(';')), number) || number == 0) { return {}; }
  return number;
}

std::vector<std::string> task_listing(const std::string& name) {
  return slurm_command("squeue", {"--noheader", "--me", "--name=" + name, "--format=%i %t %N"});
}

std::vector<slurm_task> read_tasks(std::string_view text) {
  std::vector<slurm_task> tasks;
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    slurm_task task;
    if (read_task(line, task)) { tasks.push_back(task); }
  }
  return tasks;
}

std::vector<std::vector<std::string>> signal_commands(const std::string& signal,
                                                      const std::vector<slurm_task>& tasks) {
  std::vector<std::vector<std::string>> commands;
  std::vector<std::string> arguments;
  const auto finish = [&] {
    if (!arguments.empty()) { commands.push_back(slurm_command("scancel", arguments)); }
    arguments.clear();
  };
  for (const slurm_task& task : tasks) {
    if (!task.runs()) { continue; }
    if (arguments.empty()) { arguments = {"--batch", "--signal=" + signal}; }
    arguments.push_back(task.id());
    if (arguments.size() >= tasks_of_a_command + 2) { finish(); }
  }
  finish();
  return commands;
}

std::vector<std::string> hold_command(std::int64_t job) {
  return slurm_command("scontrol", {"hold", std::to_string(job)});
}

std::vector<std::string> release_command(std::int64_t job) {
  return slurm_command("scontrol", {"release", std::to_string(job)});
}

std::vector<std::string> start_now_command(const slurm_task& task) {
  return slurm_command("scontrol", {"update", "JobId=" + task.id(), "StartTime=now"});
}

std::vector<std::string> cancel_command(const std::vector<std::int64_t>& jobs) {
  std::vector<std::string> arguments;
  arguments.reserve(jobs.size());
  for (const std::int64_t job : jobs) {
    arguments.push_back(std::to_string(job));
  }
  std::vector<std::string> command = slurm_command("scancel", arguments);
  command.insert(command.begin(), {"/usr/bin/setsid", "--fork"});
  return command;
}
