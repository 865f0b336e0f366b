#include "tools/qxmi_vod_transcode/spread/range_task.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/trusted_path.h"
#include "platform/unique_fd.h"
#include "tools/command_line/command_line.h"
#include "tools/media/segment_folder.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/encode_task.h"
#include "tools/qxmi_vod_transcode/profile_settings.h"
#include "tools/qxmi_vod_transcode/segment_key.h"
#include "tools/qxmi_vod_transcode/segment_maker.h"
#include "tools/qxmi_vod_transcode/segment_record.h"
#include "tools/qxmi_vod_transcode/spread/folder_guard.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"
#include "tools/qxmi_vod_transcode/work_folder.h"

namespace {

constexpr std::size_t longest_key = 65536;

constexpr const char* other_programs = "the transcoder or ffmpeg is another one there";

// What a task that has no engine yet shows as its work.
constexpr std::int64_t step_begun = -1;
constexpr std::int64_t step_probed = -2;

// Each run, also one that is overtaken, ends with a segment more or a miss.
std::int64_t most_runs(std::int64_t segments) {
  return 2 * segments + no_warm_up_helps;
}

class range_task {
public:
  range_task(std::string folder, std::int64_t task) : path_(std::move(folder)), number_(task) {}

  int run() {
    if (!open_folder() || !read_task_note(folder_.get(), note_) || number_ < 0 ||
        number_ >= static_cast<std::int64_t>(note_.ranges.size())) {
      return exit_refused;
    }
    guard_.emplace(folder_.get(), note_, number_);
    if (!guard_->is_wanted()) { return exit_failure; }
    guard_->show(step_begun);
    if (!read_key()) { return complain(std::string("the key: ") + std::strerror(errno)); }
    return has_same_programs() ? make_of_source() : refuse(other_programs);
  }

private:
  // Only the tool's own account can have made that folder: in a directory that is open to all,
  // anybody could put another one in its place.
  bool open_folder() {
    std::string name;
    const unique_fd directory = open_directory_of(path_, name);
    if (directory.valid()) { folder_ = open_segment_folder(directory.get(), name); }
    return folder_.valid();
  }

  // False with errno.
  bool read_key() {
    const unique_fd file(
        openat(folder_.get(), segment_key_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    return file.valid() && read_all(file.get(), longest_key, key_);
  }

  bool has_same_programs() const {
    const std::string engine = installed_engine();
    return !engine.empty() && key_.find(engine) != std::string::npos && note_.version == QX_VERSION;
  }

  // Another machine may see it: this one does not.
  bool lacks_source() const {
    struct stat status = {};
    return stat(note_.source.c_str(), &status) != 0 && errno == ENOENT;
  }

  int make_of_source() {
    std::string error;
    if (!source_.open(note_.source, error)) {
      const std::string cause = note_.source + ": " + error;
      return lacks_source() ? refuse(cause) : complain(cause);
    }
    if (!read_for_profile(note_.source, note_.profile, media_, error, note_.lengths)) {
      return complain(note_.source + ": " + error);
    }
    guard_->show(step_probed);
    settings_ = settings_for_profile(media_, note_.profile, note_.threads);
    plan_ = plan_segments(media_, note_.segment_seconds, settings_.time_limit);
    std::string key;
    if (!segment_key(source_, media_, settings_, plan_, key)) {
      return complain(note_.source + ": " + std::strerror(errno));
    }
    return key == key_ ? make()
                       : refuse("the source or what ffmpeg makes of it is another one there");
  }

  // A tool that has gone reads no complaint.
  int complain(const std::string& cause) const {
    if (stop_signal() == 0 && !guard_->ends()) {
      write_complaint(folder_.get(), own_machine() + ": " + cause);
    }
    return exit_failure;
  }

  int refuse(const std::string& cause) const {
    const char* const node = std::getenv("SLURMD_NODENAME");
    if (stop_signal() == 0 && node != nullptr) { set_refusing(folder_.get(), node); }
    complain(cause);
    return exit_refused;
  }

  bool is_last() const {
    return number_ + 1 == static_cast<std::int64_t>(note_.ranges.size()) && note_.last_is_open;
  }

  // What is missing of the range, which the output's end may cut off. The last range may go on for
  // some segments more than was expected.
  std::vector<segment_range> missing(segment_kind kind) const {
    const task_range range = note_.ranges[static_cast<std::size_t>(number_)];
    std::vector<segment_range> ranges;
    for (std::int64_t segment = range.first; segment < range.end || is_last(); ++segment) {
      kept_segment kept;
      const bool good = load_segment(folder_.get(), kind, segment, kept) == segment_state::good;
      if (good && kept.is_last) { break; }
      if (good) { continue; }
      if (ranges.empty() || ranges.back().end != segment) { ranges.push_back({segment, segment}); }
      ranges.back().end = segment < range.end ? segment + 1 : segment_range::open;
      if (segment >= range.end) { break; }
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
    store.set_fence([this] { return guard_->is_wanted(); });
    segment_maker maker(task, plan_, store, folder_.get());
    guard_->follow(line);
    maker.set_guard(&*guard_);
    const bool made = make_missing(segment_kind::picture, maker, store) &&
                      (plan_.packets == 0 || make_missing(segment_kind::sound, maker, store));
    return made && set_task_done(folder_.get(), note_, number_) ? exit_success : exit_failure;
  }

  std::int64_t range_size() const { return note_.ranges[static_cast<std::size_t>(number_)].size(); }

  // Before each run it is looked at again: another task may have the same range. Sound that no
  // range can be made of is left to the tool.
  bool make_missing(segment_kind kind, segment_maker& maker, const segment_store& store) const {
    int misses = 0;
    std::int64_t runs = 0;
    for (auto ranges = missing(kind); !ranges.empty(); ranges = missing(kind)) {
      if (kind == segment_kind::sound && store.needs_whole_sound()) { return true; }
      if (misses == no_warm_up_helps || ++runs > most_runs(range_size())) {
        complain(misses == no_warm_up_helps ? "the place in the source is not found"
                                            : "finished segments do not stay as they were written");
        return false;
      }
      encode_failure failure;
      const run_end end = maker.make(run_of(kind, ranges.front(), warm_ups[misses]), failure);
      if (failure.changes_sound) {
        store.set_needs_whole_sound(true);
        continue;
      }
      if (end == run_end::failed) {
        complain(failure.cause);
        return false;
      }
      misses += end == run_end::missed ? 1 : 0;
    }
    return true;
  }

  static segment_run run_of(segment_kind kind, segment_range range, double warm_up) {
    const bool picture = kind == segment_kind::picture;
    const segment_range none = {0, 0};
    return {picture ? range : none, picture ? none : range, warm_up};
  }

  std::string path_;
  std::int64_t number_;
  unique_fd folder_;
  task_note note_;
  std::string key_;
  std::optional<folder_guard> guard_;
  source_file source_;
  source_media media_;
  encode_settings settings_;
  segment_plan plan_;
};

}  // namespace

int make_range(const std::string& folder, std::int64_t task) {
  return range_task(folder, task).run();
}
