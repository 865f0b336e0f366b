// Notices that an engine no longer gets on with its work, although it is not stopped.
#pragma once

#include <chrono>
#include <cstdint>

// What shows that the engine gets on: whenever any of it changes, it does.
struct work_sign {
  std::int64_t done = 0;         // frames, or whatever the engine reports
  std::int64_t output_size = 0;  // of the file that it writes, in bytes
  std::int64_t output_time = 0;  // of the last change of that file, in nanoseconds
  // For how long its threads have waited for a processor. That is no sign by itself, but an engine
  // of the lowest priority may wait for minutes without being stuck.
  std::chrono::nanoseconds processor_wait{0};
};

class stall_watch {
public:
  using duration = std::chrono::nanoseconds;

  // `patience` is how long the work may stand still; 0 is for ever.
  explicit stall_watch(duration patience) : patience_(patience) {}

  // Called at each tick with the time on any steady clock. True once nothing has changed for as
  // long as the patience lasts. Neither the time up to a tick with `stopped` counts nor what its
  // threads have spent waiting for a processor.
  bool stalled(duration now, const work_sign& sign, bool stopped);

private:
  duration patience_;
  bool begun_ = false;
  work_sign last_sign_;
  duration last_now_{0};
  duration idle_{0};
};
