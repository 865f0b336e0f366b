// How fast each profile was transcoded on this machine so far. Kept in a small text file in the
// user's cache directory, so that a short-lived client knows what a watching one has measured.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

class job_history {
public:
  // Reads the file if it exists; malformed lines are ignored.
  void load(const std::string& path);

  // Writes the complete file, under a temporary name first. False if it cannot be written, which
  // only loses the measurements.
  bool save(const std::string& path) const;

  // Records the progress of a running job: `progress` in ten-thousandths, `now` in seconds since
  // 1970, `length` of its source in seconds if known.
  void note(const std::string& id, const std::string& profile, int progress,
            std::optional<double> length, std::int64_t now);

  // Forgets the recorded progress of a job that was suspended or no longer runs; or only if it was
  // recorded before that moment, when the job was resumed with work of an earlier run.
  void forget(const std::string& id) { running_.erase(id); }
  void forget_before(const std::string& id, std::int64_t moment);

  // The share of its whole that a job does in a second; nothing before it was seen twice.
  std::optional<double> rate(const std::string& id) const;

  // Seconds of source that are made into `profile` in a second.
  std::optional<double> speed(const std::string& profile) const;

private:
  struct progress_seen {
    std::int64_t since = 0;  // when the job was first seen, seconds since 1970
    int from = 0;            // its progress then
    std::int64_t until = 0;
    int to = 0;
  };

  void take_line(const std::string& line);
  std::string text() const;
  void drop_older_than(std::int64_t moment);

  std::map<std::string, progress_seen> running_;
  std::map<std::string, double> speeds_;
};

// Measurements are shared by all users of the control socket, so that each of them, and the
// gateway, expects a job to be ready at the same time. The service's unit creates this directory.
constexpr const char* shared_history_folder = "/run/qx_vod_service";

struct history_place {
  std::string path;        // empty if there is none
  bool is_shared = false;  // others read and write it at the same time
};

// "history" in `shared_folder` if this user may write there, else "qx_vod_ctl/history" in
// $XDG_CACHE_HOME or ~/.cache, after creating its directory; none without a home directory.
history_place find_history(const std::string& shared_folder = shared_history_folder);
