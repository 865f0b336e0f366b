#include "tools/qxmi_vod_transcode/spread/task_board.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int most_submissions = 3;
constexpr std::chrono::seconds standstill{60};

}  // namespace

bool task_board::has_tries(const state& task) const {
  return task.submissions < most_submissions + refusals_;
}

bool task_board::has_failed(const state& task) const {
  return !task.done && !task.in_queue && !has_tries(task);
}

task_board::state* task_board::find(std::int64_t task) {
  const bool known = task >= 0 && task < static_cast<std::int64_t>(tasks_.size());
  return known ? &tasks_[static_cast<std::size_t>(task)] : nullptr;
}

void task_board::submitted(std::int64_t task, time_point now) {
  state* const found = find(task);
  if (found == nullptr) { return; }
  ++found->submissions;
  found->in_queue = true;
  found->submitted = now;
  found->moved = now;
}

void task_board::done(std::int64_t task, time_point now) {
  state* const found = find(task);
  if (found == nullptr || found->done) { return; }
  found->done = true;
  last_work_ = now;
}

void task_board::made(std::int64_t task, std::int64_t frames, time_point now) {
  state* const found = find(task);
  if (found == nullptr || frames == found->frames) { return; }
  found->frames = frames;
  found->moved = now;
  last_work_ = now;
}

void task_board::worked(std::int64_t task, std::int64_t work, time_point now) {
  state* const found = find(task);
  if (found == nullptr || work == found->work) { return; }
  found->work = work;
  found->moved = now;
  last_work_ = now;
}

// Whatever its state: what is listed is there, unless it says that it has ended.
void task_board::take_line(const slurm_task& line) {
  state* const found = line.task ? find(*line.task) : nullptr;
  if (found == nullptr || line.has_ended()) { return; }
  found->running = found->running || line.runs();
  found->ending = found->ending || line.ends();
  found->waiting = found->waiting || !(line.runs() || line.ends());
}

void task_board::listed(const std::vector<slurm_task>& listing, time_point asked, time_point now) {
  for (state& task : tasks_) {
    task.was_running = std::exchange(task.running, false);
    task.was_ending = std::exchange(task.ending, false);
    task.waiting = false;
  }
  for (const slurm_task& line : listing) {
    take_line(line);
  }
  for (state& task : tasks_) {
    if (task.ending && !task.was_ending) { task.ending_since = now; }
    // A node whose share hangs may never end it.
    const bool ends_soon = task.ending && now - task.ending_since < standstill;
    const bool too_new = task.submitted >= asked;
    task.in_queue = task.running || task.waiting || ends_soon || too_new;
    if (!(task.running && task.was_running) && !too_new) { task.moved = now; }
  }
}

void task_board::suspended(time_point now) {
  last_work_ = now;
  for (state& task : tasks_) {
    task.moved = now;
  }
}

std::vector<std::int64_t> task_board::to_submit(bool place_is_free, time_point now) const {
  std::vector<std::int64_t> numbers;
  for (std::size_t number = 0; number < tasks_.size(); ++number) {
    const state& task = tasks_[number];
    if (task.done || !has_tries(task)) { continue; }
    const bool stands = task.running && place_is_free && now - task.moved >= standstill;
    if (!task.in_queue || stands) { numbers.push_back(static_cast<std::int64_t>(number)); }
  }
  return numbers;
}

bool task_board::is_settled() const {
  return std::all_of(tasks_.begin(), tasks_.end(),
                     [this](const state& task) { return task.done || has_failed(task); });
}

int task_board::failed() const {
  return static_cast<int>(std::count_if(tasks_.begin(), tasks_.end(),
                                        [this](const state& task) { return has_failed(task); }));
}

bool task_board::is_done(std::int64_t task) const {
  return tasks_[static_cast<std::size_t>(task)].done;
}

std::int64_t task_board::frames(std::int64_t task) const {
  return tasks_[static_cast<std::size_t>(task)].frames;
}

int task_board::done_count() const {
  return static_cast<int>(
      std::count_if(tasks_.begin(), tasks_.end(), [](const state& task) { return task.done; }));
}

int task_board::running_count() const {
  return static_cast<int>(std::count_if(
      tasks_.begin(), tasks_.end(), [](const state& task) { return task.running && !task.done; }));
}
