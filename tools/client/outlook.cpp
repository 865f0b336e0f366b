// What an estimate goes by.
#include "tools/client/outlook.h"

#include "platform/media_metadata.h"
#include "tools/client/estimate.h"

namespace {

// A job that waits for its turn; one that is held, or still without a profile, has no basis.
bool waits(const item_view& item) {
  return item.is(TRANSCODE_READY) && !item.profile.empty();
}

}  // namespace

outlook::outlook() : path_(job_history_path()) {
  if (!path_.empty()) { history_.load(path_); }
}

void outlook::note(const std::vector<listed_item>& items, std::int64_t now) {
  for (const auto& [position, item] : items) {
    if (item.is(TRANSCODE_TRANSCODING) && !item.paused) {
      history_.note(item.entry_id, item.profile, item.progress, length_of(item.input_file), now);
    } else {
      history_.forget(item.entry_id);
    }
  }
}

std::vector<std::optional<double>> outlook::time_left(const std::vector<listed_item>& items) {
  std::vector<job_outlook> jobs;
  jobs.reserve(items.size());
  for (const auto& [position, item] : items) {
    job_outlook job;
    if (item.is(TRANSCODE_TRANSCODING)) { job.now = job_outlook::phase::running; }
    if (waits(item)) { job.now = job_outlook::phase::waiting; }
    job.paused = item.paused;
    if (job.now != job_outlook::phase::other) {
      job.share_done = item.progress / 10000.0;
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
  if (!path_.empty()) { history_.save(path_); }
}

std::optional<double> outlook::length_of(const std::string& file) {
  const auto known = lengths_.find(file);
  if (known != lengths_.end() && known->second) { return known->second; }
  const double length = media_metadata(file).length();
  return lengths_[file] = length > 0 ? std::optional<double>(length) : std::nullopt;
}
