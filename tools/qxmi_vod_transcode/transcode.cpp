#include "tools/qxmi_vod_transcode/transcode.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

#include <sys/stat.h>

#include "platform/cpu.h"
#include "tools/command_line/command_line.h"
#include "tools/job_log/job_log.h"
#include "tools/job_log/job_resumption.h"
#include "tools/media/left_segments.h"
#include "tools/media/output_file.h"
#include "tools/media/output_room.h"
#include "tools/media/process_runner.h"
#include "tools/media/source_file.h"
#include "tools/media/tool_config.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/cpu_cap.h"
#include "tools/qxmi_vod_transcode/encode_command.h"
#include "tools/qxmi_vod_transcode/encode_task.h"
#include "tools/qxmi_vod_transcode/encoder_watch.h"
#include "tools/qxmi_vod_transcode/profile_settings.h"
#include "tools/qxmi_vod_transcode/progress.h"
#include "tools/qxmi_vod_transcode/segmented_encode.h"
#include "tools/qxmi_vod_transcode/source_media.h"
#include "tools/qxmi_vod_transcode/verify.h"

namespace {

constexpr std::chrono::seconds last_line_patience{1};

bool exists(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0;
}

std::int64_t total_frames(const source_media& media) {
  const double frame = std::chrono::duration<double>(progress_line::sound_frame).count();
  const double total =
      media.picture ? media.picture_duration * media.frame_rate().value() : media.duration / frame;
  return std::max<std::int64_t>(1, std::llround(total));
}

class transcode_job {
public:
  transcode_job(const std::string& tool, const transcode_options& options)
      : tool_(tool), options_(options), cap_(options.cpu_cap, static_cast<int>(how_many_cpus())),
        engines_(cap_) {}

  int run() {
    std::string error;
    if (!source_.open(options_.input, error)) { return fail_source(error); }
    if (!read_for_profile(options_.input, options_.profile, media_, error)) {
      return fail_source(error);
    }
    if (source_.is_same_as(options_.output)) { return fail_output("is the source"); }
    if (!output_.create(options_.output, error)) { return fail_output(error); }
    settings_ = settings();
    return make_output();
  }

private:
  int make_output() {
    const bool in_segments =
        configured().checkpoint && can_be_cut(media_, configured().checkpoint_min_seconds);
    progress_line line(total_frames(media_), media_.picture.has_value());
    progress_output progress;
    const encode_task task = {source_,  media_,   settings_,        line,
                              progress, engines_, {options_.level}, options_.profile};
    const int status = make(task, in_segments);
    if (status == exit_success) { progress.write_line(line.final_text(), last_line_patience); }
    return status;
  }

  int fail(const std::string& file, const std::string& cause) const {
    // A user who stopped the tool needs no reason.
    return stop_signal() != 0 ? exit_failure : report_failure(tool_, file, cause);
  }
  int fail_source(const std::string& cause) const { return fail(options_.input, cause); }
  int fail_output(const std::string& cause) const { return fail(options_.output, cause); }

  int report(const encode_failure& failure, std::uint64_t expected) const {
    return failure.of_output ? fail_output(with_room_needed(failure.cause, output_, expected))
                             : fail_source(failure.cause);
  }

  // Leaves `segments` empty if nothing is there to resume, and segments cannot be kept: then the
  // transcode may still succeed in one piece. False with the failure.
  bool open_segments(const encode_task& task, std::optional<segmented_encode>& segments,
                     encode_failure& failure) {
    segments.emplace(task, output_, options_.output, tool_);
    segment_opening opened = segments->open(failure);
    if (opened == segment_opening::no_folder && lacks_room(failure.cause) &&
        sweep(left_segments::all) > 0) {
      segments->keep();
      segments.emplace(task, output_, options_.output, tool_);
      opened = segments->open(failure);
    }
    // What can be resumed now is in use by now, and therefore not abandoned.
    sweep(left_segments::abandoned);
    if (opened == segment_opening::failed) { return false; }
    const bool is_resumed = task.line.done() > 0;
    // Segments and result are there together in the end.
    const bool fits = is_resumed || has_room_for(output_, 2 * expected_output(media_, settings_));
    if (opened == segment_opening::done && fits) { return true; }
    segments.reset();
    log_note(checkpoint_note, "none: " + (fits ? failure.cause : "too little room for segments"));
    failure = {};
    return true;
  }

  // A disk or share that has gone comes back with the same source.
  bool may_pass(const encode_failure& failure) const {
    return failure.interrupted || (!failure.of_output && !exists(options_.input));
  }

  // Makes the result and gives it its name. What is finished stays for the next try if that may get
  // further.
  int make(const encode_task& task, bool in_segments) {
    const std::uint64_t expected = expected_output(media_, settings_);
    std::optional<segmented_encode> segments;
    encode_failure failure;
    if (!in_segments) { sweep(left_segments::abandoned); }
    const bool opened = !in_segments || open_segments(task, segments, failure);
    const bool is_resumed = task.line.done() > 0;
    if (opened && !is_resumed && !finds_room(expected, failure.cause)) {
      return fail_output(failure.cause);
    }
    const bool made = opened && (segments ? make_in_segments(task, segments, failure)
                                          : make_in_one(task, failure));
    if (made && commit(failure)) { return exit_success; }
    const std::uint64_t finished = segments ? segments->finished_bytes() : 0;
    const bool lacks_only_room = finished > 0 && lacks_room(failure.cause);
    const bool is_held_up =
        segments && is_resumed && lacks_room(failure.cause) && !take_the_room(*segments);
    if (segments && (may_pass(failure) || lacks_only_room || is_held_up)) { segments->keep(); }
    return report(failure, lacks_only_room ? finished : expected);
  }

  // Whether the disk has room for the output in one piece once the segments are gone.
  bool take_the_room(const segmented_encode& segments) const {
    const std::uint64_t expected = expected_output(media_, settings_);
    return has_room_for(output_, expected - std::min(expected, segments.bytes()));
  }

  bool commit(encode_failure& failure) {
    failure.of_output = true;
    if (output_.commit(failure.cause)) { return true; }
    failure.interrupted = !lacks_room(failure.cause);
    return false;
  }

  // Removes what interrupted transcodes have left beside the output. Returns how many there were.
  std::size_t sweep(left_segments which) const {
    const int keep_days = configured().checkpoint_keep_days;
    return remove_left_segments(output_.directory(), which, keep_days).count;
  }

  // Others may never need what they have left here.
  bool finds_room(std::uint64_t expected, std::string& error) const {
    return may_find_room(output_, expected, error) ||
           (sweep(left_segments::all) > 0 && may_find_room(output_, expected, error));
  }

  encode_settings settings() const {
    int threads = cap_.useful_threads();
    if (options_.max_threads > 0) { threads = std::min(threads, options_.max_threads); }
    return settings_for_profile(media_, options_.profile, threads);
  }

  // The engine may end with status 0 and an output that is empty or stops in the middle.
  bool is_right(frame_counts counts, encode_failure& failure) {
    if (!source_.unchanged()) {
      // A share that has gone comes back with the same source.
      failure = {false, "changed while it was read", !exists(options_.input), true};
      return false;
    }
    return verify_result(output_.temporary_path(), options_.input, settings_.size, media_, failure,
                         counts);
  }

  bool make_at_once(const encode_task& task, encode_failure& failure) {
    program_request request =
        confined_request(encode_command(media_, settings_, source_.url(), output_.url()), source_,
                         output_, largest_output(media_, settings_));
    supervise(request, task);
    encoder_watch watch(task.line, task.progress, task.cap);
    const program_result result = run_program(request, watch);
    if (result.success() && is_right({}, failure)) { return true; }
    const encode_failure of_engine = failure_of(result, task, output_.url());
    // On a disk that becomes full while the index is moved to the front, it ends well nevertheless.
    if (!result.success() || lacks_room(of_engine.cause)) { failure = of_engine; }
    return false;
  }

  bool make_in_one(const encode_task& task, encode_failure& failure) {
    if (make_at_once(task, failure)) { return true; }
    if (stop_signal() != 0 || !lacks_room(failure.cause)) { return false; }
    // Others may never need what they have left here.
    if (sweep(left_segments::all) == 0) { return false; }
    failure = {};
    return make_at_once(task, failure);
  }

  // Leaves `segments` empty if it turns out that the output has to be made in one piece.
  bool make_in_segments(const encode_task& task, std::optional<segmented_encode>& segments,
                        encode_failure& failure) {
    const auto judge = [this](frame_counts counts, encode_failure& failing) {
      return is_right(counts, failing);
    };
    if (segments->make(judge, failure)) { return true; }
    if (!failure.changes_sound || stop_signal() != 0) { return false; }
    segments.reset();
    failure = {};
    task.line.begin_at(0);
    return make_in_one(task, failure);
  }

  const std::string& tool_;
  const transcode_options& options_;
  cpu_cap cap_;
  shared_cap engines_;
  source_file source_;
  source_media media_;
  encode_settings settings_;
  output_file output_;
};

}  // namespace

int transcode(const std::string& tool, const transcode_options& options) {
  return transcode_job(tool, options).run();
}
