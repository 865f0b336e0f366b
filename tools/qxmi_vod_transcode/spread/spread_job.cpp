#include "tools/qxmi_vod_transcode/spread/spread_job.h"

#include <algorithm>
#include <set>
#include <utility>

#include "tools/job_log/job_log.h"
#include "tools/job_log/one_line.h"
#include "tools/media/tool_signals.h"

namespace {

constexpr std::chrono::milliseconds tick{50};
constexpr std::chrono::seconds look_interval{1};
constexpr std::chrono::seconds lease_renewal{lease_renewal_s};
constexpr std::chrono::seconds listing_interval{5};
constexpr std::chrono::seconds log_interval{spread_note_s};

// The clients of a controller that is down give up after 9 s.
constexpr std::chrono::seconds answer_limit{15};

// For the command that cancels to have left this process behind.
constexpr std::chrono::milliseconds leave_limit{400};

constexpr const char* tool_path = "/usr/bin/qxmi_vod_transcode";

bool contains(const std::vector<std::int64_t>& numbers, std::int64_t number) {
  return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
}

void add_jobs(const std::vector<slurm_task>& tasks, std::vector<std::int64_t>& jobs) {
  for (const slurm_task& task : tasks) {
    if (!contains(jobs, task.job)) { jobs.push_back(task.job); }
  }
}

std::vector<std::int64_t> all_tasks(const task_note& note) {
  std::vector<std::int64_t> numbers;
  for (std::size_t number = 0; number < note.ranges.size(); ++number) {
    numbers.push_back(static_cast<std::int64_t>(number));
  }
  return numbers;
}

}  // namespace

spread_job::spread_job(const spread_order& order, report on_progress)
    : order_(order), note_(order.note), on_progress_(std::move(on_progress)),
      board_(order.note.ranges.size(), clock_type::now()) {}

void spread_job::adopt(const std::vector<slurm_task>& tasks) {
  board_ = task_board(note_.ranges.size(), clock_type::now());
  for (const slurm_task& task : tasks) {
    if (task.task) { board_.submitted(*task.task, clock_type::now()); }
  }
  const bool some_wait =
      std::any_of(tasks.begin(), tasks.end(), [](const slurm_task& task) { return !task.task; });
  for (const std::int64_t task : all_tasks(note_)) {
    if (some_wait) { board_.submitted(task, clock_type::now()); }
  }
  log_note(cluster_note, "goes on with the tasks of job " + std::to_string(jobs_.front()));
}

std::string spread_job::begin() {
  slurm_call listing;
  listing.start(task_listing(order_.name), answer_limit);
  if (!ended_before_stop(listing)) { return "stopped"; }
  if (!listing.success()) { return listing.cause(); }
  listed_ = read_tasks(listing.output());
  add_jobs(listed_, jobs_);
  task_note former;
  if (!listed_.empty() && read_task_note(order_.folder_fd, former)) {
    note_ = former;
    adopt(listed_);
    return {};
  }
  cancel();
  forget_refusals(order_.folder_fd);
  if (!write_task_note(order_.folder_fd, note_)) { return "the folder cannot be written to"; }
  start_submission(all_tasks(note_));
  if (!ended_before_stop(*submission_)) { return "stopped"; }
  const std::string cause = submission_->success() ? "" : submission_->cause();
  take_submission();
  return cause.empty() && jobs_.empty() ? "sbatch names no job" : cause;
}

void spread_job::start_submission(std::vector<std::int64_t> tasks) {
  slurm_array array;
  array.name = order_.name;
  array.tasks = static_cast<std::int64_t>(note_.ranges.size());
  if (tasks.size() < note_.ranges.size()) { array.only = tasks; }
  array.at_once = order_.at_once;
  array.partition = order_.partition;
  array.processors = note_.threads;
  array.excluded = refusing_nodes(order_.folder_fd);
  array.command = {tool_path, "--work", order_.folder, "--task"};
  submitting_ = std::move(tasks);
  submission_ = std::make_unique<slurm_call>();
  submission_->start(submit_command(array), answer_limit);
}

void spread_job::take_submission() {
  if (!submission_ || !submission_->ended()) { return; }
  const auto job = read_job_number(submission_->output());
  if (submission_->success() && job) {
    jobs_.push_back(*job);
    log_note(cluster_note, "submitted " + std::to_string(submitting_.size()) + " tasks as job " +
                               std::to_string(*job));
    for (const std::int64_t task : submitting_) {
      board_.submitted(task, clock_type::now());
    }
  } else {
    log_note(cluster_note, "could not submit: " + submission_->cause());
  }
  submission_.reset();
}

void spread_job::submit_missing() {
  if (submission_ || suspended_) { return; }
  std::vector<std::int64_t> tasks = board_.to_submit(place_is_free_, clock_type::now());
  if (!tasks.empty()) { start_submission(std::move(tasks)); }
}

void spread_job::ask_for_tasks() {
  if (listing_ || clock_type::now() < next_listing_) { return; }
  next_listing_ = clock_type::now() + listing_interval;
  asked_ = clock_type::now();
  listing_ = std::make_unique<slurm_call>();
  listing_->start(task_listing(order_.name), answer_limit);
}

// Tasks go on while the controller is away; without a listing nothing is submitted.
void spread_job::take_tasks() {
  if (!listing_ || !listing_->ended()) { return; }
  const bool success = listing_->success();
  if (success) { listed_ = read_tasks(listing_->output()); }
  listing_.reset();
  if (!success) { return; }
  add_jobs(listed_, jobs_);
  board_.listed(listed_, asked_, clock_type::now());
  place_is_free_ = std::none_of(listed_.begin(), listed_.end(),
                                [](const slurm_task& task) { return task.waits(); });
  for (const slurm_task& task : listed_) {
    // Held back since its node was lost.
    if (task.task && task.state == "PD" && !suspended_) { start_order(start_now_command(task)); }
  }
  submit_missing();
}

void spread_job::look_at_folder() {
  const clock_type::time_point now = clock_type::now();
  if (now >= next_lease_) {
    next_lease_ = now + lease_renewal;
    renew_lease(order_.folder_fd);
  }
  if (now < next_look_) { return; }
  next_look_ = now + look_interval;
  refresh_folder(order_.folder_fd);
  for (const std::int64_t task : all_tasks(note_)) {
    if (board_.is_done(task)) { continue; }
    board_.made(task, read_task_progress(order_.folder_fd, note_, task), now);
    if (is_task_done(order_.folder_fd, note_, task)) { board_.done(task, now); }
  }
  if (suspended_) { board_.suspended(now); }
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
  for (const slurm_task& task : listed_) {
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
void spread_job::follow_suspension() {
  if (suspend_wanted() == suspended_) { return; }
  suspended_ = suspend_wanted();
  set_paused(order_.folder_fd, suspended_);
  for (const std::int64_t job : jobs_) {
    start_order(suspended_ ? hold_command(job) : release_command(job));
  }
  for (const auto& command : signal_commands(suspended_ ? "USR1" : "USR2", listed_)) {
    start_order(command);
  }
}

void spread_job::start_order(const std::vector<std::string>& command) {
  orders_.push_back(std::make_unique<slurm_call>());
  orders_.back()->start(command, answer_limit);
}

void spread_job::forget_ended_orders() {
  orders_.erase(std::remove_if(orders_.begin(), orders_.end(),
                               [](const auto& call) { return call->ended(); }),
                orders_.end());
}

void spread_job::cancel() {
  if (jobs_.empty()) { return; }
  slurm_call call;
  call.start(cancel_command(jobs_), leave_limit);
  while (!call.ended(tick)) {}
  jobs_.clear();
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
  if (board_.is_settled()) { return std::to_string(missing) + " tasks failed three times" + cause; }
  return "nothing happened for " + std::to_string(order_.patience.count()) + " s" + cause;
}

std::string spread_job::run() {
  renew_lease(order_.folder_fd);
  set_paused(order_.folder_fd, false);
  std::string trouble = begin();
  if (!trouble.empty()) {
    cancel();
    return trouble;
  }
  while (stop_signal() == 0 && !board_.is_settled() &&
         board_.idle(clock_type::now()) < order_.patience) {
    follow_suspension();
    take_submission();
    ask_for_tasks();
    take_tasks();
    look_at_folder();
    forget_ended_orders();
    wait_for_tool_signals(tick);
  }
  // A task that was submitted a second time may still run.
  cancel();
  return verdict();
}
