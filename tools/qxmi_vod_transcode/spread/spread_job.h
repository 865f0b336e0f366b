// Has the nodes of a cluster make segments, and follows them until nothing more is to be expected
// of them: the caller makes the rest.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/job_log/job_spread.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"
#include "tools/qxmi_vod_transcode/spread/slurm_client.h"
#include "tools/qxmi_vod_transcode/spread/slurm_jobs.h"
#include "tools/qxmi_vod_transcode/spread/task_board.h"

struct spread_order {
  std::string folder;  // absolute path, the same on all nodes
  int folder_fd = -1;
  std::string name;       // of the jobs in the cluster
  std::string partition;  // empty for the cluster's default
  int at_once = 0;        // how many tasks may run at the same time; 0 for all
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
  void adopt(const std::vector<slurm_task>& tasks);
  void follow_suspension();
  void look_at_folder();
  void log_state();
  job_spread seen() const;
  void ask_for_tasks();
  void take_tasks();
  void take_submission();
  void submit_missing();
  void start_submission(std::vector<std::int64_t> tasks);
  void start_order(const std::vector<std::string>& command);
  void forget_ended_orders();
  void cancel();
  spread_state state() const;
  std::string verdict() const;

  const spread_order& order_;
  task_note note_;
  report on_progress_;
  task_board board_;
  bool suspended_ = false;
  bool place_is_free_ = false;
  clock_type::time_point next_look_;
  clock_type::time_point next_lease_;
  clock_type::time_point next_log_ = clock_type::now() + std::chrono::seconds(15);
  clock_type::time_point next_listing_;
  clock_type::time_point asked_;
  std::vector<std::int64_t> jobs_;
  std::vector<slurm_task> listed_;
  std::vector<std::int64_t> submitting_;
  std::unique_ptr<slurm_call> submission_;
  std::unique_ptr<slurm_call> listing_;
  std::vector<std::unique_ptr<slurm_call>> orders_;
};
