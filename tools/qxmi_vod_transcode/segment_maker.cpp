#include "tools/qxmi_vod_transcode/segment_maker.h"

#include <cerrno>
#include <string>

#include "tools/media/engine.h"
#include "tools/qxmi_vod_transcode/encoder_watch.h"
#include "tools/qxmi_vod_transcode/segment_watch.h"
#include "tools/qxmi_vod_transcode/work_folder.h"

namespace {

class guarded_watch : public run_observer {
public:
  guarded_watch(run_observer& watch, run_guard& guard) : watch_(watch), guard_(guard) {}

  void on_line(std::string_view line) override { watch_.on_line(line); }
  bool on_tick(const child_process& child, bool suspended) override {
    const bool guarded = guard_.holds();
    const bool held = watch_.on_tick(child, suspended || guarded);
    return held || guarded;
  }
  std::int64_t work_done() const override { return watch_.work_done(); }
  bool gives_up() const override { return watch_.gives_up() || guard_.ends(); }

private:
  run_observer& watch_;
  run_guard& guard_;
};

program_result run_guarded(const program_request& request, run_observer& watch, run_guard* guard) {
  if (guard == nullptr) { return run_program(request, watch); }
  guarded_watch guarded(watch, *guard);
  return run_program(request, guarded);
}

}  // namespace

run_end segment_maker::make(const segment_run& run, encode_failure& failure) {
  const run_folder folder(folder_, run_folder_name(run.has_pictures()
                                                       ? picture_segment_name(run.pictures.first)
                                                       : sound_segment_name(run.sounds.first)));
  if (!folder.valid()) {
    failure = system_failure(errno);
    return run_end::failed;
  }
  const std::string url = "file:/proc/self/fd/" + std::to_string(folder.fd()) + "/";
  program_request request = confined_request(
      run_command(task_.media, task_.settings, plan_, run, task_.source.url(), url), task_.source);
  request.confined_to->work_folder = folder.fd();
  request.confined_to->largest_file = largest_output(task_.media, task_.settings);
  supervise(request, task_);
  task_.line.begin_at(store_.frames() - plan_.lead_frames(run.pictures.first));
  encoder_watch encoder(task_.line, task_.progress, task_.cap);
  segment_watch watch(encoder, store_, plan_, run, folder.fd());
  const program_result result = run_guarded(request, watch, guard_);
  read_badly_ = names_passing_trouble(result);
  if (result.success() && watch.finish()) { return run_end::made; }
  if (watch.misses_its_place()) { return run_end::missed; }
  failure = watch.failure().cause.empty() ? failure_of(result, task_, url) : watch.failure();
  return run_end::failed;
}
