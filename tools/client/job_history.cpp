// The history file has lines of two kinds:
//
//   running ID SINCE FROM UNTIL TO     times in seconds since 1970, progress in ten-thousandths
//   speed VALUE PROFILE                seconds of source per second
#include "tools/client/job_history.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/directories.h"
#include "platform/replacement_file.h"

namespace {

constexpr std::size_t most_lines = 256;
constexpr std::size_t longest_line = 512;

// Two looks that are closer together than this say little.
constexpr std::int64_t shortest_look_s = 3;
// A job that was not observed for this long may have been stopped in between.
constexpr std::int64_t longest_gap_s = 600;
// How much of a profile's speed each look decides: after some ten looks it is that of the job which
// is at work.
constexpr double newest_share = 0.3;

// With another user's environment, as after "sudo -E", the directory is theirs: they could not
// write to a file that the superuser leaves there. A directory that is writable by a whole group is
// meant for sharing.
bool is_folder_to_write_to(const std::string& folder) {
  struct stat status {};
  return stat(folder.c_str(), &status) == 0 &&
         (status.st_uid == geteuid() || (status.st_mode & S_IWGRP) != 0);
}

bool sensible(double value) {
  return std::isfinite(value) && value > 0.0 && value < 10000.0;
}

}  // namespace

void job_history::load(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) { return; }
  std::ifstream file(path);
  std::string line;
  for (std::size_t i = 0; i < most_lines && std::getline(file, line); ++i) {
    if (line.size() <= longest_line) { take_line(line); }
  }
}

void job_history::take_line(const std::string& line) {
  std::istringstream words(line);
  std::string kind;
  words >> kind;
  if (kind == "running") {
    std::string id;
    progress_seen seen;
    if (words >> id >> seen.since >> seen.from >> seen.until >> seen.to) { running_[id] = seen; }
  } else if (kind == "speed") {
    double value = 0.0;
    std::string profile;
    if (words >> value && std::getline(words >> std::ws, profile) && sensible(value)) {
      speeds_[profile] = value;
    }
  }
}

bool job_history::save(const std::string& path) const {
  if (!is_folder_to_write_to(path.substr(0, path.rfind('/')))) { return false; }
  replacement_file file = replacement_file::with_random_name(path + ".");
  // The folder's mode says who may read it.
  return file.valid() && fchmod(file.fd(), 0644) == 0 && file.write(text()) && file.close() &&
         file.rename_to(path);
}

std::string job_history::text() const {
  std::ostringstream text;
  std::size_t lines = 0;
  for (const auto& [profile, value] : speeds_) {
    if (++lines > most_lines / 2) { break; }
    text << "speed " << std::setprecision(6) << value << " " << profile << "\n";
  }
  for (const auto& [id, seen] : running_) {
    if (++lines > most_lines) { break; }
    text << "running " << id << " " << seen.since << " " << seen.from << " " << seen.until << " "
         << seen.to << "\n";
  }
  return text.str();
}

void job_history::note(const std::string& id, const std::string& profile, int progress,
                       std::optional<double> length, std::int64_t now) {
  drop_older_than(now - longest_gap_s);
  progress_seen& seen = running_[id];
  // From nothing progress may jump: to where an interrupted transcode is resumed.
  const bool follows = seen.since > 0 && seen.to > 0 && progress >= seen.to && now >= seen.until;
  if (!follows) { seen = {now, progress, now, progress}; }
  seen.until = now;
  seen.to = progress;
  const auto share = rate(id);
  if (!share || !length || !sensible(*share * *length) || profile.empty()) { return; }
  const auto known = speeds_.emplace(profile, *share * *length);
  if (known.second) { return; }
  known.first->second += newest_share * (*share * *length - known.first->second);
}

// The progress of that very second may be that before.
void job_history::forget_before(const std::string& id, std::int64_t moment) {
  const auto found = running_.find(id);
  if (found != running_.end() && found->second.since <= moment) { running_.erase(found); }
}

void job_history::drop_older_than(std::int64_t moment) {
  for (auto job = running_.begin(); job != running_.end();) {
    job = job->second.until < moment ? running_.erase(job) : std::next(job);
  }
}

std::optional<double> job_history::rate(const std::string& id) const {
  const auto found = running_.find(id);
  if (found == running_.end()) { return std::nullopt; }
  const progress_seen& seen = found->second;
  if (seen.until - seen.since < shortest_look_s || seen.to <= seen.from) { return std::nullopt; }
  return (seen.to - seen.from) / 10000.0 / static_cast<double>(seen.until - seen.since);
}

std::optional<double> job_history::speed(const std::string& profile) const {
  const auto found = speeds_.find(profile);
  return found == speeds_.end() ? std::nullopt : std::optional<double>(found->second);
}

history_place find_history(const std::string& shared_folder) {
  if (access(shared_folder.c_str(), W_OK | X_OK) == 0) {
    return {shared_folder + "/history", true};
  }
  const char* cache = std::getenv("XDG_CACHE_HOME");
  const char* home = std::getenv("HOME");
  std::string folder;
  if (cache != nullptr && cache[0] == '/') {
    folder = cache;
  } else if (home != nullptr && home[0] == '/') {
    folder = std::string(home) + "/.cache";
  } else {
    return {};
  }
  folder += "/qx_vod_ctl";
  mkdir_p(folder.c_str(), 0700, -1);
  return {folder + "/history", false};
}
