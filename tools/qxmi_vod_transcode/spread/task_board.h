// What is known of the tasks of a cluster: which are done, which work and how far they are, and
// which have to be submitted again.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "tools/qxmi_vod_transcode/spread/slurm_jobs.h"

class task_board {
public:
  using time_point = std::chrono::steady_clock::time_point;

  task_board(std::size_t tasks, time_point now) : tasks_(tasks), last_work_(now) {}

  // A task with this number was submitted; it appears in listings that begin later.
  void submitted(std::int64_t task, time_point now);

  // The task is done, or has made so many frames. Any change is a sign of work.
  void done(std::int64_t task, time_point now);
  void made(std::int64_t task, std::int64_t frames, time_point now);

  // A number that changes whenever the task gets on, also where that makes no frame yet.
  void worked(std::int64_t task, std::int64_t work, time_point now);

  // So many nodes refuse the work. Each may have cost a task one try.
  void refused_by(int nodes) { refusals_ = nodes; }

  // What a listing says that began at `asked`.
  void listed(const std::vector<slurm_task>& listing, time_point asked, time_point now);

  // No time passes for the tasks while they are suspended: called instead of looking at them.
  void suspended(time_point now);

  // The tasks that ended too early, or work on nothing for a minute while a place is free, and may
  // be submitted again.
  std::vector<std::int64_t> to_submit(bool place_is_free, time_point now) const;

  // Whether each task is done or has failed as often as it may; whether there is any of the latter.
  bool is_settled() const;
  int failed() const;

  // For how long the cluster has done nothing.
  std::chrono::steady_clock::duration idle(time_point now) const { return now - last_work_; }

  bool is_done(std::int64_t task) const;
  std::int64_t frames(std::int64_t task) const;
  int done_count() const;
  int running_count() const;

private:
  struct state {
    bool done = false;
    bool running = false;
    bool was_running = false;  // in the listing before
    bool waiting = false;
    bool ending = false;
    bool was_ending = false;
    bool in_queue = false;  // as far as is known
    int submissions = 0;
    std::int64_t frames = 0;
    std::int64_t work = 0;
    time_point submitted;
    time_point moved;
    time_point ending_since;
  };

  void take_line(const slurm_task& line);
  bool has_tries(const state& task) const;
  bool has_failed(const state& task) const;
  state* find(std::int64_t task);

  std::vector<state> tasks_;
  time_point last_work_;
  int refusals_ = 0;
};
