#include "tools/client/outlook.h"

#include <algorithm>

#include "platform/media_metadata.h"
#include "rules/states.h"
#include "tools/client/estimate.h"

namespace {

// A job that waits for its turn; one that is held, or still without a profile, has no basis.
bool waits(const item_view& item) {
  return item.is(TRANSCODE_READY) && !item.profile.empty();
}

// The service learns where a job was resumed a moment after that was logged.
int progress_of(const item_view& item) {
  return item.resumed ? std::max(item.progress, item.resumed->percent * 100) : item.progress;
}

}  // namespace

outlook::outlook(history_place place) : place_(std::move(place)) {
  if (!place_.path.empty()) { history_.load(place_.path); }
}

void outlook::note(const std::vector<listed_item>& items, std::int64_t now) {
  if (place_.is_shared) { history_.load(place_.path); }
  for (const auto& [position, item] : items) {
    if (item.is(TRANSCODE_TRANSCODING) && !item.paused) {
      if (item.resumed) { history_.forget_before(item.entry_id, item.resumed->time); }
      history_.note(item.entry_id, item.profile, progress_of(item), length_of(item.input_file),
                    now);
    } else {
      history_.forget(item.entry_id);
    }
  }
  if (place_.is_shared) { history_.save(place_.path); }
}

std::vector<std::optional<double>> outlook::time_left(const std::vector<listed_item>& items) {
  std::vector<job_outlook> jobs;
  jobs.reserve(items.size());
  for (const auto& [position, item] : items) {
    job_outlook job;
    if (item.is(TRANSCODE_TRANSCODING)) { job.now = job_outlook::phase::running; }
    if (waits(item)) { job.now = job_outlook::phase::waiting; }
    if (item.state == name_of(TRANSCODE_REMOTE)) { job.now = job_outlook::phase::at_remote_server; }
    job.paused = item.paused;
    if (job.now == job_outlook::phase::running || job.now == job_outlook::phase::waiting) {
      job.share_done = progress_of(item) / 10000.0;
      job.length = length_of(item.input_file);
      job.speed = history_.speed(item.profile);
      job.rate = history_.rate(item.entry_id);
    }
    jobs.push_back(job);
  }
  return ::time_left(jobs);
}

std::optional<double> outlook::speed(const item_view& item) {
  const auto rate = history_.rate(item.entry_id);
  const auto length = length_of(item.input_file);
  return rate && length ? std::optional<double>(*rate * *length) : std::nullopt;
}

void outlook::save() const {
  if (!place_.path.empty() && !place_.is_shared) { history_.save(place_.path); }
}

std::optional<double> outlook::length_of(const std::string& file) {
  const auto known = lengths_.find(file);
  if (known != lengths_.end() && known->second) { return known->second; }
  const double length = media_metadata(file).length();
  return lengths_[file] = length > 0 ? std::optional<double>(length) : std::nullopt;
}
