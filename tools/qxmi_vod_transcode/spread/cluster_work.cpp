#include "tools/qxmi_vod_transcode/spread/cluster_work.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <optional>
#include <set>
#include <system_error>

#include <sys/stat.h>

#include "tools/job_log/job_log.h"
#include "tools/job_log/job_spread.h"
#include "tools/job_log/one_line.h"
#include "tools/media/tool_config.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/random_word.h"
#include "tools/qxmi_vod_transcode/spread/left_jobs.h"
#include "tools/qxmi_vod_transcode/spread/spread_job.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::size_t least_segments = 2;
constexpr int least_places = 2;

// In which the estimated end of the output lies.
std::int64_t last_segment(const cluster_work& work) {
  const double frames = std::floor(work.task.media.picture_duration * work.plan.rate.value());
  return std::max<std::int64_t>(0, (static_cast<std::int64_t>(frames) - 1) / work.plan.frames);
}

// Adds the segments of `ranges`; an open range ends with `last`, which is only estimated.
void add_missing(const std::vector<segment_range>& ranges, std::int64_t last,
                 std::set<std::int64_t>& missing) {
  for (const segment_range& range : ranges) {
    const std::int64_t end = range.is_open() ? std::max(range.first, last) + 1 : range.end;
    for (std::int64_t segment = range.first; segment < end; ++segment) {
      missing.insert(segment);
    }
  }
}

bool is_open(const std::vector<segment_range>& ranges) {
  return !ranges.empty() && ranges.back().is_open();
}

std::vector<std::int64_t> missing_segments(const cluster_work& work) {
  const std::int64_t last = last_segment(work);
  std::set<std::int64_t> missing;
  add_missing(work.pictures, last, missing);
  add_missing(work.sounds, last, missing);
  return {missing.begin(), missing.end()};
}

// The same on all machines that mount the folder.
std::string job_name(int folder, const std::string& path) {
  struct stat status = {};
  const std::size_t dash = path.rfind('-');
  const std::string key = dash == std::string::npos ? "" : path.substr(dash + 1);
  const std::string name = job_name_prefix + key;
  return fstat(folder, &status) == 0 ? name + "-" + std::to_string(status.st_ino) : name;
}

std::string path_of(int folder, std::error_code& error) {
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(folder), error).string();
}

task_note note_of(const cluster_work& work, int places) {
  task_note note;
  std::error_code error;
  note.token = random_word();
  note.source = std::filesystem::absolute(work.task.source.path(), error).string();
  note.profile = work.task.profile;
  note.level = work.task.priority.level;
  note.threads = configured().spread_cpus;
  note.segment_seconds = configured().segment_seconds;
  const std::vector<std::int64_t> missing = missing_segments(work);
  note.ranges = divide_into_tasks(missing, places, is_open(work.pictures) || is_open(work.sounds));
  const bool has_end = !note.ranges.empty() && note.ranges.back().end > missing.back();
  note.last_is_open = has_end && (is_open(work.pictures) || is_open(work.sounds));
  note.lengths = lengths_of(work.task.media);
  return note;
}

// Shows progress as an engine would.
class progress_relay {
public:
  explicit progress_relay(const encode_task& task)
      : task_(task), rate_(task.media.frame_rate().value()) {}

  void show(const spread_state& state) {
    const std::chrono::duration<double> passed = clock_type::now() - begin_;
    // Tasks that this run of the tool took over had made some before.
    if (!frames_before_) { frames_before_ = state.frames; }
    const auto made = static_cast<double>(state.frames - *frames_before_);
    const double fps = std::max(0.0, made) / std::max(1.0, passed.count());
    // The plan leaves out what an earlier run of the tool has finished.
    const auto total = static_cast<std::int64_t>(task_.media.picture_duration * rate_);
    task_.line.begin_at(std::max<std::int64_t>(0, total - state.planned));
    task_.line.take("frame=" + std::to_string(state.frames));
    task_.line.take("fps=" + std::to_string(fps));
    task_.line.take("speed=" + std::to_string(fps / rate_));
    task_.progress.write_line(task_.line.text());
  }

private:
  const encode_task& task_;
  double rate_;
  clock_type::time_point begin_ = clock_type::now();
  std::optional<std::int64_t> frames_before_;
};

}  // namespace

bool is_spread(const cluster_work& work) {
  const tool_config& config = configured();
  return config.spread == "slurm" && missing_segments(work).size() >= least_segments &&
         work.task.media.duration >= config.spread_min_length;
}

std::optional<cluster_places> find_places(const cluster_work& work, const announcement& announce) {
  std::error_code error;
  const std::string folder = path_of(work.folder, error);
  if (error) {
    announce("not spread: " + error.message());
    return {};
  }
  const std::string name = job_name(work.folder, folder);
  cancel_left_jobs(name);
  std::string cause;
  std::optional<cluster_places> places = ask_for_places(configured(), name, cause);
  if (stop_signal() != 0) { return {}; }
  if (!places) { announce("not spread, since the cluster does not answer: " + cause); }
  if (!places || places->count >= least_places) { return places; }
  log_note(cluster_note, "not spread, since no two tasks could begin at once");
  return {};
}

void make_in_cluster(const cluster_work& work, const cluster_places& places,
                     const announcement& announce) {
  std::error_code error;
  spread_order order;
  order.folder = path_of(work.folder, error);
  if (error) { return announce("not spread: " + error.message()); }
  order.folder_fd = work.folder;
  order.name = job_name(work.folder, order.folder);
  order.partition = configured().spread_partition;
  order.nodes = places.nodes;
  order.at_once = configured().spread_nodes;
  order.patience = std::chrono::seconds(configured().spread_patience);
  order.segment_frames = work.plan.frames;
  order.segments = last_segment(work) + 1;
  order.note = note_of(work, places.count);
  progress_relay relay(work.task);
  spread_job job(order, [&](const spread_state& state) { relay.show(state); });
  const std::string trouble = job.run();
  log_note(cluster_note,
           spread_ended_words + (trouble.empty() ? "all tasks are done" : on_one_line(trouble)));
  if (!trouble.empty() && stop_signal() == 0) {
    announce("continues on this machine, since the cluster failed: " + trouble);
  }
}
