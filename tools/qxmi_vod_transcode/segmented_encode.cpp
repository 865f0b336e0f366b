#include "tools/qxmi_vod_transcode/segmented_encode.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <utility>

#include "tools/job_log/job_log.h"
#include "tools/media/engine.h"
#include "tools/media/left_segments.h"
#include "tools/media/media_probe.h"
#include "tools/media/segment_folder.h"
#include "tools/media/tool_config.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/segment_join.h"
#include "tools/qxmi_vod_transcode/segment_key.h"
#include "tools/qxmi_vod_transcode/segment_watch.h"

namespace {

// How many seconds before its first frame a run begins to read: the first of these that leads to
// the right pictures. The last one is longer than any source, which is then read from its
// beginning.
constexpr double warm_ups[] = {3.0, 12.0, 60.0, 1e9};
constexpr int no_warm_up_helps = static_cast<int>(std::size(warm_ups));

// How often segments may turn out to be damaged right after they were made.
constexpr int most_damages = 3;

bool lacks_room(const encode_failure& failure) {
  return failure.cause.find(std::strerror(ENOSPC)) != std::string::npos ||
         failure.cause.find(std::strerror(EDQUOT)) != std::string::npos;
}

// The engine did nothing wrong, and the next one may get further.
bool is_interruption(const program_result& result) {
  const bool killed =
      result.end == program_end::killed && (result.signal == SIGKILL || result.signal == SIGTERM ||
                                            result.signal == SIGINT || result.signal == SIGHUP);
  return killed || result.end == program_end::tool_stopped || result.end == program_end::stalled ||
         result.end == program_end::timed_out || result.end == program_end::not_started;
}

// The segment in which the last of `total` pieces of `length` lies.
std::int64_t last_segment(double total, std::int64_t length) {
  const auto pieces = static_cast<std::int64_t>(std::floor(total));
  return std::max<std::int64_t>(0, (pieces - 1) / length);
}

}  // namespace

segmented_encode::segmented_encode(const encode_task& task, std::string output, std::string tool)
    : task_(task), output_(std::move(output)), tool_(std::move(tool)),
      plan_(plan_segments(task.media, configured().segment_seconds)) {}

segmented_encode::~segmented_encode() {
  const bool may_go_on = interrupted_ || stop_signal() != 0;
  if (!may_go_on || !store_ || store_->pictures().empty()) { folder_.remove(); }
}

bool segmented_encode::open(encode_failure& failure) {
  const std::string key = segment_key(task_.source, task_.media, task_.settings, plan_);
  failure.of_output = true;
  const std::string source = segment_source_text(task_.source.path(), task_.source.status());
  if (!folder_.open(output_, key, source, failure.cause)) { return false; }
  store_.emplace(folder_.fd(), plan_);
  store_->scan();
  if (!store_->is_complete()) { choose_beginning(); }
  if (store_->pictures().empty()) { return true; }
  task_.line.begin_at(store_->frames());
  announce("resumed at " + std::to_string(task_.line.percent()) + " %, after " +
           std::to_string(store_->pictures().size()) + " finished segments");
  task_.progress.write_line(task_.line.text());
  return true;
}

void segmented_encode::announce(const std::string& text) const {
  std::fprintf(stderr, "%s: %s: %s\n", tool_.c_str(), task_.source.path().c_str(), text.c_str());
  log_note("checkpoint", text);
}

void segmented_encode::begin_anew(const std::string& why) {
  if (!store_->pictures().empty()) { announce("begins anew: " + why); }
  store_->cut(0, 0);
}

// A run in the middle follows the source's clock, which must therefore lead there.
bool segmented_encode::clock_is_even() const {
  if (task_.media.jump_limit <= 0.0) { return true; }
  packet_timeline timeline(true);
  std::string error;
  return measure_streams(task_.source.path(), task_.media.depth, timeline, error) &&
         !timeline.has_jumped();
}

// The output's last segments are known as such only when all are there: they are made once more.
void segmented_encode::choose_beginning() {
  if (store_->pictures().empty()) { return begin_anew(""); }
  if (store_->reach() >= no_warm_up_helps) { return begin_anew("its parts do not fit together"); }
  if (!clock_is_even()) { return begin_anew("its clock jumps"); }
  const double seconds = task_.media.picture_duration;
  const std::int64_t last = last_segment(seconds * plan_.rate.value(), plan_.frames);
  const auto made = static_cast<std::int64_t>(store_->pictures().size());
  const std::int64_t picture = std::min(made, last);
  std::int64_t sound = static_cast<std::int64_t>(store_->sounds().size());
  if (plan_.packets > 0) {
    const double length =
        task_.media.sound_duration > 0.0 ? task_.media.sound_duration : task_.media.duration;
    sound = std::min(
        sound, last_segment(length * sound_output_rate / sound_packet_samples, plan_.packets));
  }
  store_->cut(picture, picture == 0 ? 0 : sound);
}

void segmented_encode::read_earlier() {
  store_->set_reach(store_->reach() + 1);
  log_note("checkpoint", "the next run begins to read earlier");
  choose_beginning();
}

segment_run segmented_encode::next_run() const {
  segment_run run;
  run.picture = static_cast<std::int64_t>(store_->pictures().size());
  run.sound = static_cast<std::int64_t>(store_->sounds().size());
  run.warm_up = warm_ups[std::min(store_->reach(), no_warm_up_helps - 1)];
  return run;
}

segmented_encode::run_end segmented_encode::run_engine(const segment_run& run,
                                                       encode_failure& failure) {
  const run_folder folder = folder_.create_run_folder(run.picture);
  if (!folder.valid()) {
    failure = {true, std::strerror(errno)};
    return run_end::failed;
  }
  const std::string url = "file:/proc/self/fd/" + std::to_string(folder.fd()) + "/";
  program_request request = confined_request(
      run_command(task_.media, task_.settings, plan_, run, task_.source.url(), url), task_.source);
  request.confined_to->work_folder = folder.fd();
  request.confined_to->largest_file = largest_output(task_.media, task_.settings);
  supervise(request, task_);
  task_.line.begin_at(run.first_frame(plan_));
  encoder_watch encoder(task_.line, task_.progress, task_.cap);
  segment_watch watch(encoder, *store_, plan_, run, folder.fd());
  const program_result result = run_program(request, watch);
  if (result.success() && watch.finish()) { return run_end::made; }
  if (!watch.error().empty()) {
    failure = {true, watch.error()};
    return run_end::failed;
  }
  if (watch.misses_its_place()) { return run_end::missed; }
  interrupted_ = is_interruption(result);
  failure = failure_of(result, task_, url);
  failure.of_output = failure.of_output || lacks_room(failure);
  return run_end::failed;
}

bool segmented_encode::make_missing(encode_failure& failure) {
  while (true) {
    const segment_run run = next_run();
    const run_end end = run_engine(run, failure);
    if (end == run_end::made) { return true; }
    if (end == run_end::missed && !run.is_whole()) {
      read_earlier();
      continue;
    }
    if (end == run_end::missed) { failure = {false, "cannot be transcoded: the result is empty"}; }
    const bool may_differ = !run.is_whole() && !interrupted_ && !lacks_room(failure);
    if (stop_signal() != 0 || !may_differ) { return false; }
    // What stops a run in the middle need not stop one of the whole.
    store_->set_reach(no_warm_up_helps);
    begin_anew(failure.cause);
  }
}

// All of them are read again before they are joined: what is damaged counts as missing.
bool segmented_encode::make_segments(encode_failure& failure) {
  int damages = 0;
  while (stop_signal() == 0) {
    if (!store_->is_complete() && !make_missing(failure)) { return false; }
    store_->scan();
    const std::int64_t bad_seam = store_->first_bad_seam();
    const bool continues = bad_seam == static_cast<std::int64_t>(store_->pictures().size());
    if (store_->is_complete() && continues) { return true; }
    if (!store_->is_complete() && ++damages > most_damages) {
      failure = {true, "finished segments do not stay as they were written"};
      return false;
    }
    if (!continues) {
      store_->cut(bad_seam, static_cast<std::int64_t>(store_->sounds().size()));
      read_earlier();
    } else {
      choose_beginning();
    }
  }
  return false;
}

bool segmented_encode::join_and_judge(const judgement& judge, encode_failure& failure) {
  // The encoder's delay, the first packet of sound, is in the file but not shown.
  const frame_counts counts{store_->frames(), std::max<std::int64_t>(1, store_->packets()) - 1};
  if (!join_segments(task_, plan_, *store_, folder_.fd(), failure)) { return false; }
  failure.of_output = false;
  if (!judge(counts, failure.cause)) { return false; }
  folder_.note_result(task_.output.fd());
  return true;
}

bool segmented_encode::try_make(const judgement& judge, encode_failure& failure) {
  if (!make_segments(failure)) { return false; }
  if (join_and_judge(judge, failure)) { return true; }
  const bool may_differ =
      !store_->seams().empty() && !lacks_room(failure) && task_.source.unchanged();
  if (stop_signal() != 0 || !may_differ) { return false; }
  store_->set_reach(no_warm_up_helps);
  begin_anew(failure.cause);
  return make_segments(failure) && join_and_judge(judge, failure);
}

bool segmented_encode::make(const judgement& judge, encode_failure& failure) {
  if (try_make(judge, failure)) { return true; }
  if (stop_signal() != 0 || !lacks_room(failure)) { return false; }
  // Others may never need what they have left here.
  const left_part_sums removed = remove_left_segments(task_.output.directory(), left_segments::all,
                                                      configured().checkpoint_keep_days);
  return removed.count > 0 && try_make(judge, failure);
}
