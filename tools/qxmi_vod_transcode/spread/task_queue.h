// The tasks of one transcode in the queue of a Slurm cluster: submits and lists them, and has them
// wait, go on or end. Nothing here waits for the cluster but what says so.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/qxmi_vod_transcode/spread/order_queue.h"
#include "tools/qxmi_vod_transcode/spread/slurm_client.h"
#include "tools/qxmi_vod_transcode/spread/slurm_jobs.h"

// What has come since the last tick.
struct queue_news {
  bool listing = false;
  bool submission = false;
};

// How a submission has ended.
struct submission_end {
  std::vector<std::int64_t> tasks;
  std::int64_t job = 0;  // 0 if there was none
  std::string cause;     // why not
};

class task_queue {
public:
  using time_point = std::chrono::steady_clock::time_point;

  // `name` is that of all jobs of the transcode.
  explicit task_queue(std::string name) : name_(std::move(name)) {}

  // Takes what the cluster has answered, and asks it for its tasks every 5 s. To be called about
  // every 50 ms.
  queue_news tick();

  // The tasks by the last listing, which was asked for at asked(). Those that are held by others
  // than this object, and will thus not begin, are left out.
  const std::vector<slurm_task>& tasks() const { return tasks_; }
  time_point asked() const { return asked_; }

  // Waits for the first listing. Returns why there is none, empty if there is one.
  std::string wait_for_listing();

  // Submits `tasks` of the array, all of which have the name of this queue. One submission at a
  // time.
  void submit(slurm_array array, std::vector<std::int64_t> tasks);
  bool is_submitting() const { return submission_ != nullptr; }

  // Waits until that has ended. False if the tool is asked to stop before.
  bool wait_for_submission();
  const submission_end& last_submission() const { return submitted_; }

  // Has all tasks wait, or go on: also those that begin later.
  void suspend();
  void resume();

  // Keeps tasks that have not begun from these nodes.
  void exclude(const std::vector<std::string>& nodes);

  // Ends all tasks, by a command that goes on without this process.
  void cancel();

private:
  void ask();
  void read_listing(const std::string& listing);
  void take_listing();
  void take_submission();
  void follow_up();
  void drop_held();
  void start_errand(const std::vector<std::string>& command);
  void send_signal(const std::string& signal, const std::vector<slurm_task>& tasks);
  std::vector<std::int64_t> living_jobs() const;

  std::string name_;
  bool suspended_ = false;
  std::vector<std::int64_t> jobs_;
  std::vector<slurm_task> tasks_;
  std::set<std::string> signalled_;  // tasks that know of the suspension
  std::set<std::string> hurried_;    // tasks that were told to begin at once
  time_point asked_;
  time_point next_listing_;
  time_point last_hold_;  // when one was last under way, or its release
  std::unique_ptr<slurm_call> listing_;
  std::unique_ptr<slurm_call> submission_;
  submission_end submitted_;
  bool lacks_answer_ = false;  // of a submission that the cluster may have taken nevertheless
  order_queue holds_;
  std::vector<std::unique_ptr<slurm_call>> signals_;
  std::vector<std::unique_ptr<slurm_call>> errands_;
};
