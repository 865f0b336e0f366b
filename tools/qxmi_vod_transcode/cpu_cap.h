// Keeps an encoder to a share of all processors by telling when it has to stand still.
//
// A stopped and continued process is the one means that needs no privilege and no control group.
// Its allowance fills with time and is emptied by the processor time it uses; while it is below
// zero the encoder is stopped. What is overdrawn in one tick is thus paid back in the next, and
// the share holds over any longer window, whatever the tick's length.
#pragma once

#include <chrono>

class cpu_cap {
public:
  using duration = std::chrono::nanoseconds;

  // `percent` of all `processors` together, 1 to 100; 0 is no cap.
  cpu_cap(int percent, int processors);

  bool capped() const { return share_ > 0.0; }

  // How many threads are worth having within the cap; at least 1.
  int useful_threads() const;

  // To be told at each tick: the time now on any steady clock, and the processor time used so far.
  // True when the encoder has to stand still until the next tick. A tick with `suspended` neither
  // fills nor empties the allowance.
  bool must_stop(duration now, duration used, bool suspended);

private:
  double share_;  // processors' worth of time allowed per time passed
  int processors_;
  bool begun_ = false;
  duration last_now_{0};
  duration last_used_{0};
  duration allowance_{0};
};
