#include "tools/qxmi_vod_transcode/spread/task_queue.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::chrono::seconds listing_interval{5};

// After a submission: by then, the first tasks have begun.
constexpr std::chrono::seconds first_listing{1};

// A signal is there within 0.1 s, but its sender may go on for a minute and a half to send it
// again.
constexpr std::chrono::seconds signal_limit{2};

void add_unless_there(std::int64_t job, std::vector<std::int64_t>& jobs) {
  if (std::find(jobs.begin(), jobs.end(), job) == jobs.end()) { jobs.push_back(job); }
}

std::vector<slurm_task> those_that_run(const std::vector<slurm_task>& tasks) {
  std::vector<slurm_task> running;
  std::copy_if(tasks.begin(), tasks.end(), std::back_inserter(running),
               [](const slurm_task& task) { return task.runs(); });
  return running;
}

// Those of `tasks` that `known` does not name; it names them afterwards.
std::vector<slurm_task> new_ones(const std::vector<slurm_task>& tasks,
                                 std::set<std::string>& known) {
  std::vector<slurm_task> added;
  std::copy_if(tasks.begin(), tasks.end(), std::back_inserter(added),
               [&](const slurm_task& task) { return known.insert(task.id()).second; });
  return added;
}

void forget_ended(std::vector<std::unique_ptr<slurm_call>>& calls) {
  calls.erase(
      std::remove_if(calls.begin(), calls.end(), [](const auto& call) { return call->ended(); }),
      calls.end());
}

}  // namespace

queue_news task_queue::tick() {
  holds_.tick();
  if (!holds_.is_idle()) { last_hold_ = clock_type::now(); }
  forget_ended(signals_);
  forget_ended(errands_);
  queue_news news;
  news.submission = submission_ && submission_->ended();
  if (news.submission) { take_submission(); }
  const bool has_answer = listing_ && listing_->ended();
  news.listing = has_answer && listing_->success();
  if (news.listing) { take_listing(); }
  if (has_answer) { listing_.reset(); }
  if (!listing_ && clock_type::now() >= next_listing_) { ask(); }
  return news;
}

void task_queue::ask() {
  asked_ = clock_type::now();
  next_listing_ = asked_ + listing_interval;
  listing_ = std::make_unique<slurm_call>();
  listing_->start(task_listing(name_), answer_limit);
}

std::string task_queue::wait_for_listing() {
  ask();
  const bool is_answered = ended_before_stop(*listing_);
  const std::unique_ptr<slurm_call> listing = std::move(listing_);
  if (!is_answered) { return "stopped"; }
  if (!listing->success()) { return listing->cause(); }
  read_listing(listing->output());
  return {};
}

void task_queue::read_listing(const std::string& listing) {
  tasks_ = read_tasks(listing);
  for (const slurm_task& task : tasks_) {
    add_unless_there(task.job, jobs_);
  }
}

void task_queue::take_listing() {
  read_listing(listing_->output());
  if (!suspended_ && holds_.is_idle() && asked_ > last_hold_) { drop_held(); }
  follow_up();
}

void task_queue::drop_held() {
  tasks_.erase(std::remove_if(tasks_.begin(), tasks_.end(),
                              [](const slurm_task& task) { return task.is_held(); }),
               tasks_.end());
}

// A task that began after the last listing has got no signal yet; one whose node was lost is to be
// hurried once for each time that this happens.
void task_queue::follow_up() {
  if (suspended_) { return send_signal("USR1", new_ones(those_that_run(tasks_), signalled_)); }
  std::vector<slurm_task> put_off;
  std::copy_if(tasks_.begin(), tasks_.end(), std::back_inserter(put_off),
               [](const slurm_task& task) { return task.is_put_off(); });
  for (const auto& command : start_now_commands(new_ones(put_off, hurried_))) {
    start_errand(command);
  }
  std::set<std::string> still;
  for (const slurm_task& task : put_off) {
    still.insert(task.id());
  }
  hurried_ = std::move(still);
}

void task_queue::submit(slurm_array array, std::vector<std::int64_t> tasks) {
  array.name = name_;
  submitted_ = {std::move(tasks), 0, {}};
  submission_ = std::make_unique<slurm_call>();
  submission_->start(submit_command(array), answer_limit);
}

bool task_queue::wait_for_submission() {
  if (!ended_before_stop(*submission_)) { return false; }
  take_submission();
  return true;
}

// A controller that is slow may have taken what its client then gave up.
void task_queue::take_submission() {
  const std::unique_ptr<slurm_call> call = std::move(submission_);
  const auto job = read_job_number(call->output());
  if (!call->success() || !job) {
    lacks_answer_ = true;
    submitted_.cause = call->success() ? "sbatch names no job" : call->cause();
    return;
  }
  submitted_.job = *job;
  add_unless_there(*job, jobs_);
  next_listing_ = std::min(next_listing_, clock_type::now() + first_listing);
  if (suspended_) { holds_.add({hold_command({*job})}); }
}

// Whoever still sends the signal before must not send it again after this one. It has not been sent
// at all, or been received by now.
void task_queue::suspend() {
  suspended_ = true;
  signals_.clear();
  signalled_.clear();
  send_signal("USR1", new_ones(those_that_run(tasks_), signalled_));
  if (!jobs_.empty()) { holds_.add_instead({hold_command(jobs_)}); }
  // Others may have begun since the last listing.
  next_listing_ = clock_type::now();
}

void task_queue::resume() {
  suspended_ = false;
  signals_.clear();
  send_signal("USR2", tasks_);
  if (!jobs_.empty()) { holds_.add_instead({release_command(jobs_)}); }
  last_hold_ = clock_type::now();
}

void task_queue::send_signal(const std::string& signal, const std::vector<slurm_task>& tasks) {
  for (const auto& command : signal_commands(signal, tasks)) {
    signals_.push_back(std::make_unique<slurm_call>());
    signals_.back()->start(command, signal_limit);
  }
}

void task_queue::exclude(const std::vector<std::string>& nodes) {
  std::vector<std::int64_t> jobs;
  for (const slurm_task& task : tasks_) {
    if (task.waits()) { add_unless_there(task.job, jobs); }
  }
  if (!jobs.empty()) { start_errand(exclude_command(jobs, nodes)); }
}

void task_queue::start_errand(const std::vector<std::string>& command) {
  errands_.push_back(std::make_unique<slurm_call>());
  errands_.back()->start(command, answer_limit);
}

// Those that have ended are only complained about.
std::vector<std::int64_t> task_queue::living_jobs() const {
  std::vector<std::int64_t> jobs;
  for (const slurm_task& task : tasks_) {
    add_unless_there(task.job, jobs);
  }
  for (const std::int64_t job : jobs_) {
    add_unless_there(job, jobs);
  }
  return jobs;
}

void task_queue::cancel() {
  const bool by_name = lacks_answer_ || submission_ != nullptr;
  if (jobs_.empty() && !by_name) { return; }
  submission_.reset();
  start_detached(by_name ? cancel_by_name_command(name_) : cancel_command(living_jobs()));
  jobs_.clear();
  lacks_answer_ = false;
}
