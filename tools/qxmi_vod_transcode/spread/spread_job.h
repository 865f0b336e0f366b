// Has the nodes of a cluster make segments, and follows them until nothing more is to be expected
// of them: the caller makes the rest.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "tools/job_log/job_spread.h"
#include "tools/qxmi_vod_transcode/spread/folder_look.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"
#include "tools/qxmi_vod_transcode/spread/task_board.h"
#include "tools/qxmi_vod_transcode/spread/task_queue.h"

struct spread_order {
  std::string folder;  // absolute path, the same on all nodes
  int folder_fd = -1;
  std::string name;                // of the jobs in the cluster
  std::string partition;           // empty for the cluster's default
  std::vector<std::string> nodes;  // of the partition, that may take tasks
  int at_once = 0;                 // how many tasks may run at the same time; 0 for all
  std::chrono::seconds patience{120};
  std::int64_t segment_frames = 1;
  std::int64_t segments = 0;  // of the output, as far as is known
  task_note note;
};

// How far the work is.
struct spread_state {
  std::int64_t frames = 0;   // that the tasks have made
  std::int64_t planned = 0;  // that they shall make
};

class spread_job {
public:
  using report = std::function<void(const spread_state&)>;

  // `order` must outlive this object. `on_progress` is called about once a second.
  spread_job(const spread_order& order, report on_progress);

  // Goes on with the tasks of an earlier run of the tool if they still live; else submits those of
  // the order. Returns when all are done, or the cluster fails or does nothing for the patience, or
  // the tool is asked to stop; it has then cancelled what is left. Returns why not all are done, in
  // words for a person; empty if all are.
  std::string run();

private:
  using clock_type = std::chrono::steady_clock;

  std::string begin();
  void adopt();
  bool goes_on() const;
  void follow_suspension();
  void set_pause_file();
  void keep_lease();
  void look_at_folder();
  void follow_refusals();
  void log_state();
  job_spread seen() const;
  void take_tasks();
  std::vector<std::int64_t> without_done(std::vector<std::int64_t> tasks);
  void take_submission();
  void submit(const std::vector<std::int64_t>& tasks);
  spread_state state() const;
  std::string verdict() const;

  const spread_order& order_;
  task_note note_;
  report on_progress_;
  task_board board_;
  task_queue queue_;
  folder_look look_;
  bool suspended_ = false;
  bool pause_is_shown_ = true;  // the folder shows whether the tasks shall wait
  int failed_submissions_ = 0;  // in a row
  std::vector<std::string> refusing_;
  std::string trouble_;  // with which nothing more is to be expected
  clock_type::time_point next_lease_;
  clock_type::time_point last_lease_ = clock_type::now();
  clock_type::time_point next_log_ = clock_type::now() + std::chrono::seconds(15);
};
