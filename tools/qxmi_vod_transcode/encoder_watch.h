// Watches an encoder: hands on its progress and keeps it within the cap.
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/media/process_runner.h"
#include "tools/qxmi_vod_transcode/cpu_cap.h"
#include "tools/qxmi_vod_transcode/progress.h"

class encoder_watch : public run_observer {
public:
  // `line` and `output` must outlive this object. The cap counts the time of one program.
  encoder_watch(progress_line& line, progress_output& output, cpu_cap cap)
      : line_(line), output_(output), cap_(cap) {}

  void on_line(std::string_view text) override;
  bool on_tick(const child_process& child, bool suspended) override;
  std::int64_t work_done() const override { return frames_ + sound_us_; }

private:
  progress_line& line_;
  progress_output& output_;
  cpu_cap cap_;
  // As this encoder counts: the line does not move while lost work is repeated.
  std::int64_t frames_ = 0;
  std::int64_t sound_us_ = 0;
};
