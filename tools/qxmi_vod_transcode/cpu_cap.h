// Limits an encoder to a share of all processors by deciding when it must be stopped.
//
// Stopping and continuing the process is the only way that needs no privilege and no control group.
// The encoder's allowance grows with time and shrinks with the processor time it uses; while it is
// below zero the encoder is stopped. An overdraft in one tick is thus paid back in the next, and
// the share holds over any longer window, whatever the length of a tick.
#pragma once

#include <chrono>
#include <map>

class cpu_cap {
public:
  using duration = std::chrono::nanoseconds;

  // `percent` of all `processors` together, 1 to 100; 0 for no limit.
  cpu_cap(int percent, int processors);

  bool capped() const { return share_ > 0.0; }

  // How many threads are worth having within the cap; at least 1.
  int useful_threads() const;

  // Called at each tick with the time on any steady clock and the processor time used so far. True
  // if the encoder must be stopped until the next tick. A tick with `suspended` does not change the
  // allowance.
  bool must_stop(duration now, duration used, bool suspended);

private:
  double share_;  // processors' worth of time allowed per time passed
  int processors_;
  bool begun_ = false;
  duration last_now_{0};
  duration last_used_{0};
  duration allowance_{0};
};

// One cap for several encoders together, which may work at the same time or one after another.
class shared_cap {
public:
  explicit shared_cap(cpu_cap cap) : cap_(cap) {}

  // As cpu_cap::must_stop(), with the time that the encoder known as `encoder` has used so far.
  bool must_stop(int encoder, cpu_cap::duration now, cpu_cap::duration used, bool suspended);

  // A number for another encoder.
  int new_encoder() { return ++last_encoder_; }

private:
  cpu_cap cap_;
  int last_encoder_ = 0;
  std::map<int, cpu_cap::duration> used_;
  cpu_cap::duration total_{0};
};
