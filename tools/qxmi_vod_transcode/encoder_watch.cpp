#include "tools/qxmi_vod_transcode/encoder_watch.h"

#include <chrono>

void encoder_watch::on_line(std::string_view text) {
  if (line_.take(text)) { output_.write_line(line_.text()); }
}

bool encoder_watch::on_tick(const child_process& child, bool suspended) {
  if (!suspended && output_.due()) { output_.write_line(line_.text()); }
  return cap_.must_stop(std::chrono::steady_clock::now().time_since_epoch(), child.cpu_time(),
                        suspended);
}
