// When a job will be done, as far as there is a basis for saying so.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What an estimate of one job goes by.
struct job_outlook {
  enum class phase { other, waiting, running, at_remote_server };

  phase now = phase::other;
  bool paused = false;
  double share_done = 0.0;       // of the transcode, 0 to 1
  std::optional<double> length;  // of the source, seconds
  std::optional<double> speed;   // seconds of the source in a second, of this job or of its profile
  std::optional<double> rate;    // of this very job: share of the whole in a second
};

// Seconds from now until each job is done, in the order of the queue, which is the order in which
// the service takes the waiting ones, one at a time. Nothing where there is no basis: neither for a
// paused job nor for one behind a job of unknown length. While a job is at the remote server, it is
// unknown whether those that wait go there too.
std::vector<std::optional<double>> time_left(const std::vector<job_outlook>& jobs);

// The moment at which a job is expected to be done, in seconds since 1970; `now` is in the same.
// Nothing for what is unknown or more than six days away: an estimate that long is a guess.
std::optional<std::int64_t> ready_at(std::optional<double> seconds_left, std::int64_t now);

// The same in local time: "~14:32", "~Tue 09:05" for another day of the week, "" for nothing.
std::string expected_moment(std::optional<double> seconds_left, std::int64_t now);

// "3:05", "1:02:09": hours, minutes and seconds.
std::string duration_text(double seconds);
