// What a forked child needs before it goes its own way.
#pragma once

#include <csignal>

#include <unistd.h>

// Steps of jobs run behind everything else on a machine that is on air.
inline void take_lowest_priority() {
  int const priority = nice(20);  // clipped to the lowest there is
  static_cast<void>(priority);
}

// Keeps termination signals off a fork: until its exec a child has the service's handlers, which
// would count the signal and go on.

class termination_signals_blocked {
public:
  termination_signals_blocked() {
    sigset_t set;
    sigemptyset(&set);
    for (int const signal_number : handled) {
      sigaddset(&set, signal_number);
    }
    sigprocmask(SIG_BLOCK, &set, &before_);
  }
  ~termination_signals_blocked() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  termination_signals_blocked(termination_signals_blocked const&) = delete;
  termination_signals_blocked& operator=(termination_signals_blocked const&) = delete;

  // In the child: the signals end it from here on, one that came meanwhile at once.
  void restore_in_child() const {
    for (int const signal_number : handled) {
      signal(signal_number, SIG_DFL);
    }
    sigprocmask(SIG_SETMASK, &before_, nullptr);
  }

private:
  static constexpr int handled[] = {SIGINT, SIGTERM, SIGQUIT};
  sigset_t before_{};
};
