// Watches an engine that makes segments, and takes each one as soon as it is finished.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "tools/media/process_runner.h"
#include "tools/qxmi_vod_transcode/encode_failure.h"
#include "tools/qxmi_vod_transcode/encoder_watch.h"
#include "tools/qxmi_vod_transcode/run_marks.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"
#include "tools/qxmi_vod_transcode/segment_store.h"

// Lets the engines of a tool have their segments taken one after the other, with time for the
// tool's signals in between: to take one means to read all of it and to wait for the disk.
class keep_turn {
public:
  using time_point = std::chrono::steady_clock::time_point;

  bool is_free(time_point now) const { return now >= next_; }
  void taken(time_point now) { next_ = now + run_observer::tick_interval; }

private:
  time_point next_;
};

class segment_watch : public run_observer {
public:
  // `folder` is the run's own, in which there may be `largest` bytes. The encoder, the store and
  // the turn must outlive this object.
  segment_watch(encoder_watch& encoder, segment_store& store, keep_turn& turn,
                const segment_plan& plan, const segment_run& run, int folder,
                std::uint64_t largest);

  void on_line(std::string_view text) override { encoder_.on_line(text); }
  bool on_tick(const child_process& child, bool suspended) override;
  bool gives_up() const override { return misses_ || overtaken_ || !failure_.cause.empty(); }
  std::int64_t work_done() const override;

  // Takes the rest after the engine has ended well. False if the run misses its place or a segment
  // cannot be kept. With `read_badly`, the source could not be read everywhere: where the output
  // seems to end is then not taken for its end, and the result is false as well.
  bool finish(bool read_badly);

  // The run does not continue what is there: it began too late in the source, or with other
  // pictures, or ended too early. A run that begins to read earlier may be better.
  bool misses_its_place() const { return misses_; }

  // Another machine has put a segment of this run in its place: the run goes no further, and what
  // is still missing has to be looked at again.
  bool is_overtaken() const { return overtaken_; }

  // How many frames of the output it has made and kept.
  std::int64_t kept_frames() const { return kept_frames_; }

  // Why a segment could not be kept; without a cause if there was no such failure.
  const encode_failure& failure() const { return failure_; }

private:
  struct stream_state {
    segment_kind kind;
    segment_range range;
    std::int64_t next;          // the segment that is to be taken next
    bool writing_back = false;  // of that one
    std::chrono::steady_clock::time_point since;
  };

  void read_marks();
  void check_size();
  void check_place();
  void check_picture();
  void check_sound();
  bool is_even_sound(bool is_last) const;
  bool exists(const stream_state& stream, std::int64_t segment) const;
  bool has_content(const stream_state& stream, std::int64_t segment) const;
  void take_finished(stream_state& stream);
  bool keep(stream_state& stream, bool is_last);
  bool keep_rest(stream_state& stream, bool read_badly);
  void look_for_lacks();
  bool lacks_end(const stream_state& stream) const;
  bool knows_its_place() const { return picture_in_place_ && sound_in_place_; }

  encoder_watch& encoder_;
  segment_store& store_;
  keep_turn& turn_;
  int folder_;
  std::uint64_t largest_;
  std::chrono::steady_clock::time_point next_size_check_;
  std::string name_;  // of this run in the records
  run_marks_reader marks_;
  off_t marks_read_ = 0;
  bool picture_in_place_;
  bool sound_in_place_;
  bool misses_ = false;
  bool overtaken_ = false;
  encode_failure failure_;
  std::int64_t processor_seconds_ = 0;
  std::int64_t kept_frames_ = 0;
  stream_state picture_;
  stream_state sound_;
};
