// Watches an encoder: hands on its progress and keeps it within the cap.
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/media/process_runner.h"
#include "tools/qxmi_vod_transcode/cpu_cap.h"
#include "tools/qxmi_vod_transcode/progress.h"

class encoder_watch : public run_observer {
public:
  // All must outlive this object. The encoder does the part of the work that `line` knows as
  // `part`.
  encoder_watch(progress_line& line, progress_output& output, shared_cap& cap, int part = 0)
      : line_(line), output_(output), cap_(cap), encoder_(cap.new_encoder()), part_(part) {}

  void on_line(std::string_view text) override;
  bool on_tick(const child_process& child, bool suspended) override;
  std::int64_t work_done() const override { return frames_ + sound_us_; }

private:
  progress_line& line_;
  progress_output& output_;
  shared_cap& cap_;
  int encoder_;  // as the cap knows it
  int part_;
  // As this encoder counts: the line does not move while lost work is repeated.
  std::int64_t frames_ = 0;
  std::int64_t sound_us_ = 0;
};
