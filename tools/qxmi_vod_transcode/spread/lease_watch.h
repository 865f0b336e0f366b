// Whether a tool still wants what a task makes for it on another machine.
#pragma once

#include <chrono>
#include <string>
#include <utility>

class lease_watch {
public:
  using time_point = std::chrono::steady_clock::time_point;

  // `folder` must stay open as long as this object exists. `token` is that of the division that the
  // task belongs to.
  lease_watch(int folder, std::string token, time_point now)
      : folder_(folder), token_(std::move(token)), last_seen_(now) {}

  // Looks whether the tool lives and has not divided the work in another way. False if not, and
  // also if that cannot be found out.
  bool is_valid(time_point now);

  // The last look has shown that the tool has gone; or no look could show anything for as long as a
  // lease lasts, by this machine's own clock.
  bool is_over() const { return is_over_; }

private:
  int folder_;
  std::string token_;
  time_point last_seen_;
  bool is_over_ = false;
};
