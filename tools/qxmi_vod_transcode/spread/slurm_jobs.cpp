#include "tools/qxmi_vod_transcode/spread/slurm_jobs.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

#include "tools/job_log/run_lines.h"
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

// The text up to the next bar, which is taken off with it.
std::string_view take_field(std::string_view& line) {
  const std::size_t end = line.find('|');
  const std::string_view field = line.substr(0, end);
  line.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
  return field;
}

bool read_task(std::string_view line, slurm_task& read) {
  if (!read_id(take_field(line), read)) { return false; }
  read.state = take_field(line);
  read.node = take_field(line);
  read.reason = line;
  return !read.state.empty();
}

// A pause that comes before the command can obey it must not kill it.
std::string script_of(const slurm_array& array) {
  std::string script = "trap '' USR1 USR2; exec";
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

std::vector<std::string> texts_of(const std::vector<std::int64_t>& numbers) {
  std::vector<std::string> texts;
  texts.reserve(numbers.size());
  for (const std::int64_t number : numbers) {
    texts.push_back(std::to_string(number));
  }
  return texts;
}

// What comes before a new job: not what waits for a time, another job or a person.
bool comes_first(std::string_view reason) {
  return reason == "Resources" || reason == "Priority" || reason == "None";
}

std::vector<std::string> detached(std::vector<std::string> command) {
  const std::vector<std::string> shell = {
      "/bin/sh", "-c", R"(exec /usr/bin/setsid --fork "$@" >/dev/null 2>&1)", "sh"};
  command.insert(command.begin(), shell.begin(), shell.end());
  return command;
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

bool slurm_task::is_held() const {
  if (state == "RH" || state == "SE") { return true; }
  const bool is_marked =
      reason.rfind("JobHeld", 0) == 0 || reason.find("held") != std::string::npos;
  return state == "PD" && is_marked;
}

bool slurm_task::has_ended() const {
  constexpr const char* ends[] = {"BF", "CA", "CD", "DL", "F", "NF", "OOM", "PR", "TO"};
  return std::find(std::begin(ends), std::end(ends), state) != std::end(ends);
}

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

// Its environment is that of sbatch, which the tool keeps small: for any other Slurm runs a login
// shell on the node before each task, whose profile may take its time.
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
                                      "--export=ALL"};
  if (!array.partition.empty()) { options.push_back("--partition=" + array.partition); }
  if (!array.comment.empty()) { options.push_back("--comment=" + array.comment); }
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
  return slurm_command("squeue",
                       {"--noheader", "--array", "--me", "--name=" + name, "--format=%i|%t|%N|%r"});
}

std::vector<slurm_task> read_tasks(std::string_view text) {
  std::vector<slurm_task> tasks;
  for_each_line(text, [&](std::string_view line) {
    slurm_task task;
    if (read_task(line, task)) { tasks.push_back(task); }
  });
  return tasks;
}

std::vector<std::string> waiting_listing(const std::string& partition) {
  return slurm_command("squeue", {"--noheader", "--array", "--states=PD",
                                  "--partition=" + partition, "--format=%C|%r|%j"});
}

int processors_waited_for(std::string_view text, const std::string& own_name) {
  std::int64_t sum = 0;
  for_each_line(text, [&](std::string_view line) {
    std::int64_t processors = 0;
    const bool is_read = read_number(take_field(line), processors);
    if (is_read && comes_first(take_field(line)) && line != own_name) { sum += processors; }
  });
  return static_cast<int>(std::min<std::int64_t>(sum, std::numeric_limits<int>::max()));
}

std::vector<std::string> comment_listing() {
  return slurm_command("squeue", {"--noheader", "--me", "--format=%F|%j|%k"});
}

std::vector<commented_job> read_commented_jobs(std::string_view text) {
  std::vector<commented_job> jobs;
  for_each_line(text, [&](std::string_view line) {
    commented_job job;
    if (!read_number(take_field(line), job.number) || job.number == 0) { return; }
    job.name = take_field(line);
    job.comment = line;
    jobs.push_back(job);
  });
  return jobs;
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

std::vector<std::string> hold_command(const std::vector<std::int64_t>& jobs) {
  return slurm_command("scontrol", {"hold", joined(texts_of(jobs))});
}

std::vector<std::string> release_command(const std::vector<std::int64_t>& jobs) {
  return slurm_command("scontrol", {"release", joined(texts_of(jobs))});
}

std::vector<std::vector<std::string>> start_now_commands(const std::vector<slurm_task>& tasks) {
  std::vector<std::vector<std::string>> commands;
  std::vector<std::string> ids;
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    ids.push_back(tasks[i].id());
    if (ids.size() < tasks_of_a_command && i + 1 < tasks.size()) { continue; }
    commands.push_back(
        slurm_command("scontrol", {"update", "JobId=" + joined(ids), "StartTime=now"}));
    ids.clear();
  }
  return commands;
}

std::vector<std::string> exclude_command(const std::vector<std::int64_t>& jobs,
                                         const std::vector<std::string>& nodes) {
  return slurm_command(
      "scontrol", {"update", "JobId=" + joined(texts_of(jobs)), "ExcNodeList=" + joined(nodes)});
}

std::vector<std::string> cancel_command(const std::vector<std::int64_t>& jobs) {
  return detached(slurm_command("scancel", texts_of(jobs)));
}

std::vector<std::string> cancel_by_name_command(const std::string& name) {
  return detached(slurm_command("scancel", {"--me", "--name=" + name}));
}
