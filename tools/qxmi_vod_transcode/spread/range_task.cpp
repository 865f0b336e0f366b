#include "tools/qxmi_vod_transcode/spread/range_task.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tools/command_line/command_line.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/encode_task.h"
#include "tools/qxmi_vod_transcode/profile_settings.h"
#include "tools/qxmi_vod_transcode/segment_key.h"
#include "tools/qxmi_vod_transcode/segment_maker.h"
#include "tools/qxmi_vod_transcode/segment_record.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"
#include "tools/qxmi_vod_transcode/work_folder.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::chrono::seconds look_interval{1};
constexpr std::chrono::seconds lease_interval{lease_renewal_s};
constexpr std::size_t longest_key = 65536;

std::string host_name() {
  char name[256] = {};
  gethostname(name, sizeof name - 1);
  return name;
}

// Obeys what the tool says through the folder, and tells it how far the task is.
class folder_guard : public run_guard {
public:
  folder_guard(int folder, const task_note& note, std::int64_t task, const progress_line& line)
      : folder_(folder), note_(note), task_(task), line_(line) {}

  bool holds() override {
    const clock_type::time_point now = clock_type::now();
    if (now >= next_look_) {
      next_look_ = now + look_interval;
      refresh_folder(folder_);
      paused_ = is_paused(folder_);
      write_task_progress(folder_, note_, task_, line_.done());
    }
    if (now >= next_lease_) {
      next_lease_ = now + lease_interval;
      is_alone_ = lease_age(folder_, run_folder_name("now")) > lease_term_s;
    }
    return paused_;
  }

  // The tool has gone.
  bool ends() const override { return is_alone_; }

private:
  int folder_;
  const task_note& note_;
  std::int64_t task_;
  const progress_line& line_;
  clock_type::time_point next_look_;
  clock_type::time_point next_lease_;
  bool paused_ = false;
  bool is_alone_ = false;
};

class range_task {
public:
  range_task(std::string folder, std::int64_t task) : path_(std::move(folder)), number_(task) {}

  int run() {
    folder_.reset(open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder_.valid() || !read_task_note(folder_.get(), note_) || number_ < 0 ||
        number_ >= static_cast<std::int64_t>(note_.ranges.size())) {
      return exit_refused;
    }
    std::string error;
    if (!source_.open(note_.source, error) ||
        !read_for_profile(note_.source, note_.profile, media_, error)) {
      return refuse(note_.source + ": " + error);
    }
    settings_ = settings_for_profile(media_, note_.profile, note_.threads);
    plan_ = plan_segments(media_, note_.segment_seconds, settings_.time_limit);
    std::string key;
    if (!segment_key(source_, media_, settings_, plan_, key)) {
      return complain(note_.source + ": " + std::strerror(errno));
    }
    if (!has_key(key)) {
      return refuse("the source, the transcoder or ffmpeg is another one there");
    }
    return make();
  }

private:
  int complain(const std::string& cause) const {
    if (stop_signal() == 0) { write_complaint(folder_.get(), host_name() + ": " + cause); }
    return exit_failure;
  }

  int refuse(const std::string& cause) const {
    const char* const node = std::getenv("SLURMD_NODENAME");
    if (stop_signal() == 0 && node != nullptr) { set_refusing(folder_.get(), node); }
    complain(cause);
    return exit_refused;
  }

  bool has_key(const std::string& key) const {
    const unique_fd file(
        openat(folder_.get(), segment_key_name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::string text;
    return file.valid() && read_all(file.get(), longest_key, text) && text == key;
  }

  bool is_last() const {
    return number_ + 1 == static_cast<std::int64_t>(note_.ranges.size()) && note_.last_is_open;
  }

  // What is missing of the range, which the output's end may cut off.
  std::vector<segment_range> missing(segment_kind kind) const {
    const task_range range = note_.ranges[static_cast<std::size_t>(number_)];
    std::vector<segment_range> ranges;
    for (std::int64_t segment = range.first; segment < range.end; ++segment) {
      kept_segment kept;
      const bool good = load_segment(folder_.get(), kind, segment, kept) == segment_state::good;
      if (good && kept.is_last) { return ranges; }
      if (good) { continue; }
      if (ranges.empty() || ranges.back().end != segment) { ranges.push_back({segment, segment}); }
      ranges.back().end = segment + 1;
    }
    if (is_last() && (ranges.empty() || ranges.back().end != range.end)) {
      ranges.push_back({range.end, segment_range::open});
    } else if (is_last()) {
      ranges.back().end = segment_range::open;
    }
    return ranges;
  }

  int make() {
    progress_line line(std::max<std::int64_t>(1, plan_.frames * range_size()), true);
    progress_output output;
    shared_cap no_cap(cpu_cap(0, 1));
    const encode_task task = {source_, media_, settings_,     line,
                              output,  no_cap, {note_.level}, note_.profile};
    segment_store store(folder_.get(), plan_);
    segment_maker maker(task, plan_, store, folder_.get());
    folder_guard guard(folder_.get(), note_, number_, line);
    maker.set_guard(&guard);
    for (const segment_range& range : missing(segment_kind::picture)) {
      if (!make_range({range, {0, 0}, 0.0}, maker)) { return exit_failure; }
    }
    if (plan_.packets > 0) {
      for (const segment_range& range : missing(segment_kind::sound)) {
        if (!make_range({{0, 0}, range, 0.0}, maker)) { return exit_failure; }
      }
    }
    return set_task_done(folder_.get(), note_, number_) ? exit_success : exit_failure;
  }

  std::int64_t range_size() const { return note_.ranges[static_cast<std::size_t>(number_)].size(); }

  // With the first beginning that leads to the right place.
  bool make_range(segment_run run, segment_maker& maker) const {
    for (const double warm_up : warm_ups) {
      run.warm_up = warm_up;
      encode_failure failure;
      const run_end end = maker.make(run, failure);
      if (end == run_end::made) { return true; }
      if (end == run_end::failed) {
        complain(failure.cause);
        return false;
      }
    }
    complain("the place in the source is not found");
    return false;
  }

  std::string path_;
  std::int64_t number_;
  unique_fd folder_;
  task_note note_;
  source_file source_;
  source_media media_;
  encode_settings settings_;
  segment_plan plan_;
};

}  // namespace

int make_range(const std::string& folder, std::int64_t task) {
  return range_task(folder, task).run();
}
