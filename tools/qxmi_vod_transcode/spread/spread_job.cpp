#include "tools/qxmi_vod_transcode/spread/spread_job.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <utility>

#include "tools/job_log/job_log.h"
#include "tools/job_log/one_line.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/spread/left_jobs.h"

namespace {

constexpr std::chrono::milliseconds tick{50};
constexpr std::chrono::seconds lease_renewal{lease_renewal_s};
constexpr std::chrono::seconds lease_term{lease_term_s};
constexpr std::chrono::seconds log_interval{spread_note_s};
constexpr int most_failed_submissions = 3;

constexpr const char* tool_path = "/usr/bin/qxmi_vod_transcode";

std::vector<std::int64_t> all_tasks(const task_note& note) {
  std::vector<std::int64_t> numbers;
  for (std::size_t number = 0; number < note.ranges.size(); ++number) {
    numbers.push_back(static_cast<std::int64_t>(number));
  }
  return numbers;
}

bool contains_all(const std::vector<std::string>& names, const std::vector<std::string>& wanted) {
  return std::all_of(wanted.begin(), wanted.end(), [&](const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
  });
}

}  // namespace

spread_job::spread_job(const spread_order& order, report on_progress)
    : order_(order), note_(order.note), on_progress_(std::move(on_progress)),
      board_(order.note.ranges.size(), clock_type::now()), queue_(order.name),
      look_(order.folder_fd) {}

// The tool may have been killed while its tasks were suspended.
void spread_job::adopt() {
  board_ = task_board(note_.ranges.size(), clock_type::now());
  for (const slurm_task& task : queue_.tasks()) {
    if (task.task && !task.has_ended()) { board_.submitted(*task.task, clock_type::now()); }
  }
  queue_.resume();
  log_note(cluster_note,
           "goes on with the tasks of job " + std::to_string(queue_.tasks().front().job));
}

std::string spread_job::begin() {
  std::string trouble = queue_.wait_for_listing();
  if (!trouble.empty()) { return trouble; }
  task_note former;
  if (!queue_.tasks().empty() && read_task_note(order_.folder_fd, former) &&
      former.version == note_.version) {
    note_ = former;
    adopt();
    return {};
  }
  queue_.cancel();
  forget_refusals(order_.folder_fd);
  if (!write_task_note(order_.folder_fd, note_)) { return "the folder cannot be written to"; }
  submit(all_tasks(note_));
  if (!queue_.wait_for_submission()) { return "stopped"; }
  take_submission();
  return queue_.last_submission().cause;
}

void spread_job::submit(const std::vector<std::int64_t>& tasks) {
  slurm_array array;
  array.tasks = static_cast<std::int64_t>(note_.ranges.size());
  if (tasks.size() < note_.ranges.size()) { array.only = tasks; }
  array.at_once = order_.at_once;
  array.partition = order_.partition;
  array.processors = note_.threads;
  array.excluded = refusing_;
  array.comment = comment_for(order_.folder);
  array.command = {tool_path, "--work", order_.folder, "--task"};
  queue_.submit(std::move(array), tasks);
}

void spread_job::take_submission() {
  const submission_end& end = queue_.last_submission();
  if (end.job == 0) {
    log_note(cluster_note, "could not submit: " + end.cause);
    if (++failed_submissions_ == most_failed_submissions) { trouble_ = end.cause; }
    return;
  }
  failed_submissions_ = 0;
  log_note(cluster_note, "submitted " + std::to_string(end.tasks.size()) + " tasks as job " +
                             std::to_string(end.job));
  for (const std::int64_t task : end.tasks) {
    board_.submitted(task, clock_type::now());
  }
}

// Tasks go on while the controller is away; without a listing nothing is submitted.
void spread_job::take_tasks() {
  const std::vector<slurm_task>& tasks = queue_.tasks();
  board_.listed(tasks, queue_.asked(), clock_type::now());
  if (queue_.is_submitting() || suspended_) { return; }
  const bool place_is_free =
      std::none_of(tasks.begin(), tasks.end(), [](const slurm_task& task) { return task.waits(); });
  const std::vector<std::int64_t> missing =
      without_done(board_.to_submit(place_is_free, clock_type::now()));
  if (!missing.empty()) { submit(missing); }
}

// A file server may be slow to show a new name in its folder; asked for it by name, it knows it.
std::vector<std::int64_t> spread_job::without_done(std::vector<std::int64_t> tasks) {
  const auto is_done = [this](std::int64_t task) {
    if (!is_task_done(order_.folder_fd, note_, task)) { return false; }
    board_.done(task, clock_type::now());
    return true;
  };
  tasks.erase(std::remove_if(tasks.begin(), tasks.end(), is_done), tasks.end());
  return tasks;
}

// Tasks end by a lease that is not renewed in time.
void spread_job::keep_lease() {
  const clock_type::time_point now = clock_type::now();
  if (now < next_lease_) { return; }
  next_lease_ = now + lease_renewal;
  if (renew_lease(order_.folder_fd)) {
    last_lease_ = now;
    return;
  }
  const std::string cause = std::string("the folder cannot be written to: ") + std::strerror(errno);
  log_note(cluster_note, cause);
  if (now - last_lease_ >= lease_term) { trouble_ = cause; }
}

// A waiting task that refuses is submitted again only after the next listing: until then, such a
// node could take all of them.
void spread_job::follow_refusals() {
  if (look_.refusing().size() == refusing_.size()) { return; }
  refusing_ = look_.refusing();
  std::sort(refusing_.begin(), refusing_.end());
  board_.refused_by(static_cast<int>(refusing_.size()));
  queue_.exclude(refusing_);
  if (!order_.nodes.empty() && contains_all(refusing_, order_.nodes)) {
    trouble_ = "all nodes refuse";
  }
}

void spread_job::look_at_folder() {
  if (!look_.tick(note_, board_)) { return; }
  follow_refusals();
  if (suspended_) { board_.suspended(clock_type::now()); }
  set_pause_file();
  on_progress_(state());
  log_state();
}

// What was there before belongs to no task.
job_spread spread_job::seen() const {
  job_spread seen;
  std::int64_t planned = 0;
  for (const std::int64_t task : all_tasks(note_)) {
    const std::int64_t whole = note_.ranges[static_cast<std::size_t>(task)].size();
    const std::int64_t made = std::min(whole, board_.frames(task) / order_.segment_frames);
    planned += whole;
    seen.finished += board_.is_done(task) ? whole : made;
  }
  seen.all = std::max(order_.segments, planned);
  seen.finished += seen.all - planned;
  seen.under_way = board_.running_count();
  std::set<std::string> nodes;
  for (const slurm_task& task : queue_.tasks()) {
    if (task.runs()) { nodes.insert(on_one_line(task.node)); }
  }
  set_nodes(seen, nodes);
  return seen;
}

// Often enough for somebody who wonders where the job runs.
void spread_job::log_state() {
  if (clock_type::now() < next_log_) { return; }
  next_log_ = clock_type::now() + log_interval;
  log_note(cluster_note, spread_text(seen()));
}

// The file is for tasks that the signal does not reach: they begin just now, or elsewhere again.
// The orders come first, since the folder may be on a slow server.
void spread_job::follow_suspension() {
  if (suspend_wanted() == suspended_) { return; }
  suspended_ = suspend_wanted();
  suspended_ ? queue_.suspend() : queue_.resume();
  pause_is_shown_ = false;
  set_pause_file();
}

// A file that stays would hold tasks for ever: if it cannot be removed now, it is tried again.
void spread_job::set_pause_file() {
  pause_is_shown_ = pause_is_shown_ || set_paused(order_.folder_fd, suspended_);
}

spread_state spread_job::state() const {
  spread_state state;
  for (const std::int64_t task : all_tasks(note_)) {
    const std::int64_t whole =
        note_.ranges[static_cast<std::size_t>(task)].size() * order_.segment_frames;
    state.planned += whole;
    state.frames += board_.is_done(task) ? whole : std::min(whole, board_.frames(task));
  }
  return state;
}

std::string spread_job::verdict() const {
  const int missing = static_cast<int>(note_.ranges.size()) - board_.done_count();
  if (missing == 0) { return {}; }
  if (stop_signal() != 0) { return "stopped"; }
  const std::string complaint = read_complaint(order_.folder_fd);
  const std::string cause = complaint.empty() ? "" : ": " + complaint;
  if (!trouble_.empty()) { return trouble_ + cause; }
  if (board_.is_settled()) { return std::to_string(missing) + " tasks failed three times" + cause; }
  return "nothing happened for " + std::to_string(order_.patience.count()) + " s" + cause;
}

bool spread_job::goes_on() const {
  return stop_signal() == 0 && trouble_.empty() && !board_.is_settled() &&
         board_.idle(clock_type::now()) < order_.patience;
}

std::string spread_job::run() {
  keep_lease();
  pause_is_shown_ = set_paused(order_.folder_fd, false);
  std::string trouble = begin();
  if (trouble.empty()) {
    while (goes_on()) {
      follow_suspension();
      const queue_news news = queue_.tick();
      if (news.submission) { take_submission(); }
      if (news.listing) { take_tasks(); }
      keep_lease();
      look_at_folder();
      wait_for_tool_signals(tick);
    }
    trouble = verdict();
  }
  // A task that was submitted a second time may still run.
  queue_.cancel();
  dismiss_tasks(order_.folder_fd);
  return trouble;
}
