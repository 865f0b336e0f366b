// Between a task on a machine of a cluster and its tool: the folder of segments.
#pragma once

#include <chrono>
#include <cstdint>

#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/progress.h"
#include "tools/qxmi_vod_transcode/segment_maker.h"
#include "tools/qxmi_vod_transcode/spread/lease_watch.h"
#include "tools/qxmi_vod_transcode/spread/task_note.h"

// Obeys what the tool says through the folder, and shows it how far the task is.
class folder_guard : public run_guard {
public:
  // For the task with the number `task` of `note`. `folder` must stay open, and `note` exist, as
  // long as this object does.
  folder_guard(int folder, const task_note& note, std::int64_t task)
      : folder_(folder), note_(note), task_(task), lease_(folder, note.token, clock_type::now()) {}

  // Of the engines from now on. It must outlive them.
  void follow(const progress_line& line) { line_ = &line; }

  // Shows that the task is at work. `work` is as in task_progress.
  void show(std::int64_t work) const;

  // Whether the tool still wants what the task makes.
  bool is_wanted();

  // Whether the tool has paused its tasks. Also shows `work_done`, about once a second.
  bool holds(std::int64_t work_done) override;

  // The tool has gone.
  bool ends() const override { return lease_.is_over(); }

private:
  using clock_type = std::chrono::steady_clock;

  void follow_signals(clock_type::time_point now);

  int folder_;
  const task_note& note_;
  std::int64_t task_;
  lease_watch lease_;
  const progress_line* line_ = nullptr;
  clock_type::time_point next_look_;
  clock_type::time_point next_lease_;
  bool paused_ = false;
  int continued_ = times_continued();
};
