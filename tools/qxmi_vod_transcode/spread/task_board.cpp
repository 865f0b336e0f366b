#include "tools/qxmi_vod_transcode/spread/task_board.h"

#include <algorithm>
#include <utility>

namespace {

constexpr int most_submissions = 3;
constexpr std::chrono::seconds standstill{60};

}  // namespace

bool task_board::has_failed(const state& task) {
  return !task.done && !task.in_queue && task.submissions >= most_submissions;
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

void task_board::listed(const std::vector<slurm_task>& listing, time_point asked, time_point now) {
  bool all_wait = false;
  for (state& task : tasks_) {
    task.was_running = std::exchange(task.running, false);
    task.waiting = false;
  }
  for (const slurm_task& line : listing) {
    state* const found = line.task ? find(*line.task) : nullptr;
    all_wait = all_wait || !line.task;
    if (found == nullptr) { continue; }
    found->running = found->running || line.runs();
    found->waiting = found->waiting || line.waits() || line.state == "CG";
  }
  for (state& task : tasks_) {
    // Those that have not begun are not listed one by one.
    const bool may_wait = all_wait && task.submissions > 0 && task.frames == 0;
    const bool too_new = task.submitted >= asked;
    task.in_queue = task.running || task.waiting || may_wait || too_new;
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
    if (task.done || task.submissions >= most_submissions) { continue; }
    const bool stands = task.running && place_is_free && now - task.moved >= standstill;
    if (!task.in_queue || stands) { numbers.push_back(static_cast<std::int64_t>(number)); }
  }
  return numbers;
}

bool task_board::is_settled() const {
  return std::all_of(tasks_.begin(), tasks_.end(),
                     [](const state& task) { return task.done || has_failed(task); });
}

int task_board::failed() const {
  return static_cast<int>(std::count_if(tasks_.begin(), tasks_.end(), has_failed));
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
