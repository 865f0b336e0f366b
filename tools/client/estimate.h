// Estimates when a job will be done.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The facts that the estimate of one job needs.
struct job_outlook {
  enum class phase { other, waiting, running, at_remote_server };

  phase now = phase::other;
  bool paused = false;
  double share_done = 0.0;       // of the transcode, 0 to 1
  std::optional<double> length;  // of the source, seconds
  std::optional<double> speed;   // seconds of the source in a second, of this job or of its profile
  std::optional<double> rate;    // of this job: share of the whole per second
};

// Seconds from now until each job is done, in queue order, which is the order in which the service
// takes waiting jobs, one at a time. Nothing for a job that cannot be estimated: a paused job, or
// one that waits for a job of unknown length. While a job is at the remote server, it is unknown
// whether the waiting jobs go there too.
std::vector<std::optional<double>> time_left(const std::vector<job_outlook>& jobs);

// The expected time of completion, in seconds since 1970, like `now`. Nothing if it is unknown or
// more than six days away, since an estimate that long is a guess.
std::optional<std::int64_t> ready_at(std::optional<double> seconds_left, std::int64_t now);

// The same in local time: "~14:32", "~Tue 09:05" for another day of the week, "" for nothing.
std::string expected_moment(std::optional<double> seconds_left, std::int64_t now);

// "3:05", "1:02:09": hours, minutes and seconds.
std::string duration_text(double seconds);
