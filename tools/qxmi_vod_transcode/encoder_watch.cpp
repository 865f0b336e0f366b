#include "tools/qxmi_vod_transcode/encoder_watch.h"

#include <chrono>
#include <cstdlib>
#include <string>

#include "platform/text.h"

namespace {

void take_number(std::string_view line, std::string_view key, std::int64_t& number) {
  if (begins_with(line, key)) { number = std::atoll(std::string(line.substr(key.size())).c_str()); }
}

}  // namespace

void encoder_watch::on_line(std::string_view text) {
  take_number(text, "frame=", frames_);
  take_number(text, "out_time_us=", sound_us_);
  if (line_.take(text, part_)) { output_.write_line(line_.text()); }
}

bool encoder_watch::on_tick(const child_process& child, bool suspended) {
  if (!suspended && output_.due()) { output_.write_line(line_.text()); }
  return cap_.must_stop(encoder_, std::chrono::steady_clock::now().time_since_epoch(),
                        child.cpu_time(), suspended);
}
