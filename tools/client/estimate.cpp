#include "tools/client/estimate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace {

constexpr double day_s = 86400.0;
constexpr double furthest_s = 6 * day_s;

using maybe_seconds = std::optional<double>;

maybe_seconds positive(double seconds) {
  return std::isfinite(seconds) && seconds >= 0.0 ? maybe_seconds(seconds) : std::nullopt;
}

// How long the rest of a job takes once it has its turn.
maybe_seconds rest_of(const job_outlook& job) {
  const double rest = 1.0 - job.share_done;
  if (job.rate) { return positive(rest / *job.rate); }
  if (job.length && job.speed) { return positive(rest * *job.length / *job.speed); }
  return std::nullopt;
}

// Those that run have their turn already; the longest of them is over before a waiting one begins.
maybe_seconds turn_of_waiting(const std::vector<job_outlook>& jobs) {
  maybe_seconds begin = 0.0;
  for (const job_outlook& job : jobs) {
    if (job.now == job_outlook::phase::at_remote_server) { return std::nullopt; }
    if (job.now != job_outlook::phase::running || job.paused || !begin) { continue; }
    const maybe_seconds rest = rest_of(job);
    begin = rest ? maybe_seconds(std::max(*begin, *rest)) : std::nullopt;
  }
  return begin;
}

}  // namespace

std::vector<std::optional<double>> time_left(const std::vector<job_outlook>& jobs) {
  std::vector<maybe_seconds> left(jobs.size());
  maybe_seconds turn = turn_of_waiting(jobs);
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    const auto now = jobs[i].now;
    const bool has_turn = now == job_outlook::phase::running;
    if (jobs[i].paused || !(has_turn || now == job_outlook::phase::waiting)) { continue; }
    left[i] = rest_of(jobs[i]);
    if (has_turn) { continue; }
    if (left[i] && turn) { left[i] = *left[i] + *turn; }
    if (!turn) { left[i].reset(); }
    turn = left[i];
  }
  return left;
}

std::optional<std::int64_t> ready_at(std::optional<double> seconds_left, std::int64_t now) {
  if (!seconds_left || *seconds_left > furthest_s) { return std::nullopt; }
  return now + std::llround(*seconds_left);
}

std::string expected_moment(std::optional<double> seconds_left, std::int64_t now) {
  const auto moment = ready_at(seconds_left, now);
  if (!moment) { return ""; }
  const time_t seconds = *moment;
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) { return ""; }
  char text[32];
  const bool soon = *seconds_left < day_s;
  return std::strftime(text, sizeof text, soon ? "~%H:%M" : "~%a %H:%M", &local) > 0 ? text : "";
}

std::string duration_text(double seconds) {
  const long long whole = std::llround(seconds);
  char text[48];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                  whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
  }
  return text;
}
