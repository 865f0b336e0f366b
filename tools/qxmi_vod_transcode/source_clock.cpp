#include "tools/qxmi_vod_transcode/source_clock.h"

#include "tools/media/media_probe.h"
#include "tools/media/packet_timeline.h"
#include "tools/media/tool_signals.h"

namespace {

// The verdict, as a note beside the segments.
constexpr const char* clock_note = "clock";
constexpr const char* clock_even = "even";
constexpr const char* clock_jumps = "jumps";
constexpr const char* clock_unread = "unread";

}  // namespace

source_clock find_clock(const encode_task& task, segment_store& store, encode_failure& failure) {
  if (task.media.jump_limit <= 0.0) { return source_clock::even; }
  const std::string known = store.note(clock_note);
  if (known == clock_even) { return source_clock::even; }
  if (known == clock_jumps) { return source_clock::jumping; }
  packet_timeline timeline(true);
  if (measure_streams(task.source.path(), task.media.depth, timeline, failure.cause)) {
    store.set_note(clock_note, timeline.has_jumped() ? clock_jumps : clock_even);
    return timeline.has_jumped() ? source_clock::jumping : source_clock::even;
  }
  if (stop_signal() == 0 && known == clock_unread) { return source_clock::jumping; }
  if (stop_signal() == 0) { store.set_note(clock_note, clock_unread); }
  failure.interrupted = true;
  return source_clock::unknown;
}
