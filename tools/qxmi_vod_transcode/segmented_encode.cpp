#include "tools/qxmi_vod_transcode/segmented_encode.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>

#include "tools/job_log/job_log.h"
#include "tools/job_log/job_resumption.h"
#include "tools/job_log/one_line.h"
#include "tools/media/engine.h"
#include "tools/media/left_segments.h"
#include "tools/media/segment_folder.h"
#include "tools/media/tool_config.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/run_choice.h"
#include "tools/qxmi_vod_transcode/segment_join.h"
#include "tools/qxmi_vod_transcode/segment_key.h"
#include "tools/qxmi_vod_transcode/segment_maker.h"
#include "tools/qxmi_vod_transcode/source_clock.h"
#include "tools/qxmi_vod_transcode/spread/cluster_work.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

namespace {

// How often segments may turn out to be damaged right after they were made.
constexpr int most_damages = 3;

}  // namespace

segmented_encode::segmented_encode(const encode_task& task, const output_file& output,
                                   std::string path, std::string tool)
    : task_(task), output_(output), path_(std::move(path)), tool_(std::move(tool)),
      plan_(plan_segments(task.media, configured().segment_seconds, task.settings.time_limit)) {}

segmented_encode::~segmented_encode() {
  const bool may_go_on = keeps_ || stop_signal() != 0;
  if (!may_go_on || !segment_store::is_begun(folder_.fd())) { folder_.remove(); }
}

segment_opening segmented_encode::open(encode_failure& failure) {
  std::string key;
  if (!segment_key(task_.source, task_.media, task_.settings, plan_, key)) {
    failure = {false, std::strerror(errno), true};
    return segment_opening::failed;
  }
  const std::string source = segment_source_text(task_.source.path(), task_.source.status());
  if (!folder_.open(path_, key, source, failure.cause)) {
    failure.of_output = true;
    failure.interrupted = !lacks_room(failure.cause);
    const bool may_succeed_later = stop_signal() != 0 || folder_.is_unreadable();
    return may_succeed_later ? segment_opening::failed : segment_opening::no_folder;
  }
  store_.emplace(folder_.fd(), plan_);
  return take_over(failure) ? segment_opening::done : segment_opening::failed;
}

std::uint64_t segmented_encode::bytes() const {
  return store_ ? bytes_in_segment_folder(folder_.fd()) : 0;
}

std::uint64_t segmented_encode::finished_bytes() const {
  return store_ && store_->is_complete() ? bytes() : 0;
}

bool segmented_encode::take_over(encode_failure& failure) {
  if (!scan(failure)) { return false; }
  if (!store_->is_complete() && !choose_beginning(failure)) { return false; }
  if (store_->pictures().empty()) { return true; }
  task_.line.begin_at(store_->frames());
  announce(resumed_words + std::to_string(task_.line.percent()) + " %, after " +
           std::to_string(store_->pictures().size()) + " finished segments");
  task_.progress.write_line(task_.line.text());
  return true;
}

void segmented_encode::announce(const std::string& text) const {
  std::fprintf(stderr, "%s: %s: %s\n", tool_.c_str(), on_one_line(task_.source.path()).c_str(),
               on_one_line(text).c_str());
  log_note(checkpoint_note, text);
}

bool segmented_encode::scan(encode_failure& failure) {
  // A node may have found it out.
  plan_.sound_is_whole = plan_.sound_is_whole || store_->needs_whole_sound();
  // If this machine cannot read what a node wrote, it makes it.
  const auto unreadable = was_spread_ ? unreadable_segment::missing : unreadable_segment::trouble;
  scanned_ = scanned_ || store_->scan([this] { return may_go_on(task_); }, failure, unreadable);
  return scanned_;
}

void segmented_encode::start_over(const std::string& why) {
  if (!store_->pictures().empty()) {
    announce(started_over_words + (": " + why));
    started_over_ = true;
    may_divide_ = false;
  }
  store_->clear();
}

// Once must be enough: whatever is wrong then is not the fault of several runs.
bool segmented_encode::may_start_over(const encode_failure& failure) const {
  return stop_signal() == 0 && !started_over_ && !failure.interrupted && !failure.same_again &&
         !failure.changes_sound && !lacks_room(failure.cause) && task_.source.unchanged();
}

// Without pictures all of it is made in one run, unless the sound has one of its own.
bool segmented_encode::choose_beginning(encode_failure& failure) {
  const bool has_pictures = !store_->pictures().empty();
  if (!has_pictures && !plan_.sound_is_whole) {
    store_->clear();
  } else if (has_pictures && store_->reach() >= no_warm_up_helps) {
    start_over("its parts do not fit together");
  } else {
    const source_clock clock = find_clock(task_, *store_, failure);
    if (clock == source_clock::unknown) { return false; }
    if (clock == source_clock::jumping) {
      if (plan_.sound_is_whole) { set_sound_is_whole(false); }
      start_over("its clock jumps");
    }
    store_->remove_bad_ends();
  }
  return true;
}

// Goes on with the pictures that are there, and with a run of all sound alone. Both follow an even
// clock only. False, with the failure, if it is not known to be one.
bool segmented_encode::choose_whole_sound(encode_failure& failure) {
  encode_failure unclear;
  const source_clock clock = find_clock(task_, *store_, unclear);
  if (clock == source_clock::unknown) { failure = unclear; }
  if (clock == source_clock::jumping) { failure.cause += ", and its clock jumps"; }
  if (clock != source_clock::even) { return false; }
  log_note(checkpoint_note, failure.cause + ": it is made as a whole");
  failure = {};
  set_sound_is_whole(true);
  store_->clear_sound();
  return true;
}

void segmented_encode::set_sound_is_whole(bool whole) {
  plan_.sound_is_whole = whole;
  store_->set_needs_whole_sound(whole);
}

void segmented_encode::read_earlier() {
  store_->set_reach(store_->reach() + 1);
  log_note("checkpoint", "the next run begins to read earlier");
}

std::vector<segment_range> segmented_encode::missing_sound() const {
  return plan_.packets > 0 ? store_->missing(store_->sound_kind()) : std::vector<segment_range>();
}

double segmented_encode::warm_up() const {
  return warm_ups[std::min(store_->reach(), no_warm_up_helps - 1)];
}

std::int64_t segmented_encode::likely_segments() const {
  const double frames = task_.media.picture_duration * plan_.rate.value();
  return static_cast<std::int64_t>(std::ceil(frames / static_cast<double>(plan_.frames)));
}

int segmented_encode::chosen_runs() const {
  if (!may_divide_) { return 1; }
  if (configured().checkpoint_runs > 0) { return configured().checkpoint_runs; }
  run_conditions conditions;
  conditions.processors = task_.settings.threads;
  conditions.free_memory = available_memory();
  conditions.source = task_.media.picture->coded;
  conditions.output = task_.settings.size;
  conditions.missing = likely_segments() - static_cast<std::int64_t>(store_->pictures().size());
  return runs_at_once(conditions);
}

run_end segmented_encode::make_next(encode_failure& failure, bool& was_whole) {
  const segment_run run =
      next_run(plan_, store_->missing(segment_kind::picture), missing_sound(), warm_up());
  was_whole = plan_.sound_is_whole ? run.is_all_of_its_kind() : run.is_whole();
  segment_maker maker(task_, plan_, *store_, folder_.fd());
  const run_end end = maker.make(run, failure);
  if (end != run_end::missed) { return end; }
  if (!was_whole) {
    read_earlier();
  } else {
    failure = {false, "cannot be transcoded: the result is empty"};
  }
  return end;
}

// If it does not work out, one engine after another may get further.
run_end segmented_encode::make_several(int at_once, encode_failure& failure) {
  const std::int64_t shortest = configured().checkpoint_runs > 0 ? 1 : shortest_run;
  const std::deque<segment_run> runs =
      divided(store_->missing(segment_kind::picture), missing_sound(), likely_segments(), at_once,
              shortest, warm_up());
  log_note("checkpoint", std::to_string(runs.size()) + " runs, up to " + std::to_string(at_once) +
                             " at the same time");
  segment_maker maker(task_, plan_, *store_, folder_.fd());
  const run_end end = maker.make_all(runs, at_once, failure);
  may_divide_ = end == run_end::made || failure.changes_sound;
  return end;
}

bool segmented_encode::make_missing(encode_failure& failure) {
  while (!store_->has_all()) {
    if (!choose_beginning(failure)) { return false; }
    scanned_ = false;
    const int at_once = chosen_runs();
    const bool divides = at_once > 1 && find_clock(task_, *store_, failure) == source_clock::even;
    bool was_whole = false;
    const run_end end = divides ? make_several(at_once, failure) : make_next(failure, was_whole);
    if (end == run_end::failed && failure.changes_sound) {
      if (!choose_whole_sound(failure)) { return false; }
      continue;
    }
    const bool may_differ = end == run_end::missed ? !was_whole : may_start_over(failure);
    if (end == run_end::made || (may_differ && (divides || end == run_end::missed))) { continue; }
    if (was_whole || !may_differ) { return false; }
    // What stops a run in the middle need not stop one of the whole.
    store_->set_reach(no_warm_up_helps);
    start_over(failure.cause);
  }
  return store_->complete(failure);
}

// All of them are read again before they are joined: what is damaged counts as missing.
bool segmented_encode::make_segments(encode_failure& failure) {
  int damages = 0;
  while (stop_signal() == 0) {
    if (!store_->is_complete() && !make_missing(failure)) { return false; }
    if (!scan(failure)) { return false; }
    const std::vector<std::int64_t> bad_seams = store_->bad_seams();
    if (store_->is_complete() && bad_seams.empty()) { return true; }
    if (!store_->is_complete() && ++damages > most_damages) {
      failure = {true, "finished segments do not stay as they were written"};
      return false;
    }
    if (!bad_seams.empty()) {
      store_->remove_runs_at(bad_seams);
      read_earlier();
    }
  }
  return false;
}

bool segmented_encode::join_and_judge(const judgement& judge, encode_failure& failure) {
  // The encoder's delay, the first packet of sound, is in the file but not shown.
  const frame_counts counts{store_->frames(), std::max<std::int64_t>(1, store_->packets()) - 1};
  failure = {};
  if (!join_segments(task_, output_, plan_, *store_, folder_.fd(), failure)) { return false; }
  failure = {};
  if (!judge(counts, failure)) { return false; }
  folder_.note_result(output_.fd());
  return true;
}

bool segmented_encode::try_make(const judgement& judge, encode_failure& failure) {
  if (!make_segments(failure)) { return false; }
  if (join_and_judge(judge, failure)) { return true; }
  if (store_->seams().empty() || !may_start_over(failure)) { return false; }
  store_->set_reach(no_warm_up_helps);
  start_over(failure.cause);
  return make_segments(failure) && join_and_judge(judge, failure);
}

// Whatever the cluster leaves, the rest is made here. A source whose clock cannot be read now, or a
// segment that cannot be read, is therefore not a failure.
bool segmented_encode::spread(encode_failure& failure) {
  cluster_work work = {task_, plan_, folder_.fd(), store_->missing(segment_kind::picture), {}};
  // One run makes the whole of it.
  if (!plan_.sound_is_whole) { work.sounds = missing_sound(); }
  const bool must_be_one_run = store_->reach() >= no_warm_up_helps;
  if (store_->is_complete() || must_be_one_run || !is_spread(work)) { return true; }
  const auto tell = [this](const std::string& text) { announce(text); };
  const auto places = find_places(work, tell);
  encode_failure unclear;
  if (!places || find_clock(task_, *store_, unclear) != source_clock::even) {
    return stop_signal() == 0;
  }
  make_in_cluster(work, *places, tell);
  was_spread_ = true;
  scanned_ = false;
  return stop_signal() == 0 && scan(failure);
}

bool segmented_encode::make(const judgement& judge, encode_failure& failure) {
  if (!spread(failure)) { return false; }
  // Those of a tool that was killed may still work, also where this one spreads nothing.
  dismiss_tasks(folder_.fd());
  if (try_make(judge, failure)) { return true; }
  if (stop_signal() != 0) { return false; }
  if (failure.changes_sound) {
    announce(started_over_words + (" in one piece: " + failure.cause));
    return false;
  }
  if (!lacks_room(failure.cause)) { return false; }
  // Others may never need what they have left here.
  const left_part_sums removed = remove_left_segments(output_.directory(), left_segments::all,
                                                      configured().checkpoint_keep_days);
  return removed.count > 0 && try_make(judge, failure);
}
