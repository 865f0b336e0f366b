#include "tools/qxmi_vod_transcode/segment_maker.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>

#include "tools/media/engine.h"
#include "tools/qxmi_vod_transcode/encoder_watch.h"
#include "tools/qxmi_vod_transcode/segment_watch.h"
#include "tools/qxmi_vod_transcode/work_folder.h"

namespace {

// A watch of an engine that a guard may stop as well.
class guarded_watch : public run_observer {
public:
  guarded_watch(run_observer& watch, run_guard& guard) : watch_(watch), guard_(guard) {}

  void on_line(std::string_view line) override { watch_.on_line(line); }
  bool on_tick(const child_process& child, bool suspended) override {
    is_held_ = guard_.holds(watch_.work_done());
    const bool held = watch_.on_tick(child, suspended || is_held_);
    return held || is_held_;
  }
  bool suspends() const override { return is_held_; }
  std::int64_t work_done() const override { return watch_.work_done(); }
  bool gives_up() const override { return watch_.gives_up() || guard_.ends(); }

private:
  run_observer& watch_;
  run_guard& guard_;
  bool is_held_ = false;
};

std::string first_name(const segment_store& store, const segment_run& run) {
  return run.has_pictures() ? picture_segment_name(run.pictures.first)
                            : segment_name(store.sound_kind(), run.sounds.first);
}

}  // namespace

// One run with everything that it needs while it lasts.
class segment_maker::engine {
public:
  // `part` is its number in the progress.
  engine(segment_maker& maker, const segment_run& run, int part)
      : maker_(maker), run_(run), part_(part),
        folder_(maker.folder_, run_folder_name(first_name(maker.store_, run))),
        error_(folder_.valid() ? 0 : errno),
        url_("file:/proc/self/fd/" + std::to_string(folder_.fd()) + "/"),
        encoder_(maker.task_.line, maker.task_.progress, maker.task_.cap, part),
        watch_(encoder_, maker.store_, maker.turn_, maker.plan_, run_, folder_.fd(),
               largest_output(maker.task_.media, maker.task_.settings)) {
    if (maker.guard_ != nullptr) { guarded_.emplace(watch_, *maker.guard_); }
    maker.task_.line.begin_part(
        part, run.has_pictures() ? maker.plan_.lead_frames(run.pictures.first) : 0);
  }
  ~engine() { maker_.task_.line.end_part(part_, watch_.kept_frames()); }
  engine(const engine&) = delete;
  engine& operator=(const engine&) = delete;

  // 0, or why it has no folder.
  int error() const { return error_; }

  program_request request(int threads) const {
    const encode_task& task = maker_.task_;
    encode_settings settings = task.settings;
    settings.threads = threads;
    program_request request = confined_request(
        run_command(task.media, settings, maker_.plan_, run_, task.source.url(), url_),
        task.source);
    request.confined_to->work_folder = folder_.fd();
    request.confined_to->largest_file = largest_output(task.media, settings);
    supervise(request, task);
    return request;
  }

  segment_watch& watch() { return watch_; }
  run_observer& observer() { return guarded_ ? static_cast<run_observer&>(*guarded_) : watch_; }
  const std::string& url() const { return url_; }

private:
  segment_maker& maker_;
  segment_run run_;
  int part_;
  run_folder folder_;
  int error_;
  std::string url_;
  encoder_watch encoder_;
  segment_watch watch_;
  std::optional<guarded_watch> guarded_;
};

run_end segment_maker::end_of(engine& ended, const program_result& result,
                              encode_failure& failure) {
  segment_watch& watch = ended.watch();
  if (watch.is_overtaken()) { return run_end::made; }
  if (result.success() && watch.finish(names_passing_trouble(result))) { return run_end::made; }
  if (watch.misses_its_place()) { return run_end::missed; }
  failure =
      watch.failure().cause.empty() ? failure_of(result, task_, ended.url()) : watch.failure();
  return run_end::failed;
}

run_end segment_maker::make(const segment_run& run, encode_failure& failure) {
  return make_all({run}, 1, failure);
}

bool segment_maker::start(engine& one, int threads, program_group& group,
                          encode_failure& failure) const {
  if (one.error() != 0) {
    failure = system_failure(one.error());
    return false;
  }
  group.start(one.request(threads), one.observer());
  return true;
}

run_end segment_maker::make_all(std::deque<segment_run> runs, int at_once,
                                encode_failure& failure) {
  task_.line.begin_at(store_.frames());
  const int threads = (task_.settings.threads + at_once - 1) / at_once;
  std::vector<std::unique_ptr<engine>> engines;
  program_group group;
  bool missed = false;
  for (int part = 0; group.count() > 0 || (!missed && !runs.empty()); ++part) {
    if (!missed && !runs.empty() && static_cast<int>(group.count()) < at_once) {
      engines.push_back(std::make_unique<engine>(*this, runs.front(), part));
      runs.pop_front();
      if (!start(*engines.back(), threads, group, failure)) { return run_end::failed; }
      continue;
    }
    run_observer* of = nullptr;
    const program_result result = group.wait_for_one(of);
    const auto ended = std::find_if(engines.begin(), engines.end(),
                                    [of](const auto& one) { return &one->observer() == of; });
    const run_end end = end_of(**ended, result, failure);
    engines.erase(ended);
    if (end == run_end::failed) { return end; }
    missed = missed || end == run_end::missed;
  }
  return missed ? run_end::missed : run_end::made;
}
