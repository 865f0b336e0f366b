// Prepares a forked child for its program.
#pragma once

#include <csignal>

#include <sys/types.h>

// Keeps termination signals off a fork: until begin_child() a child has the service's handlers,
// which would only count the signal.
class termination_signals_blocked {
public:
  termination_signals_blocked();
  ~termination_signals_blocked();
  termination_signals_blocked(const termination_signals_blocked&) = delete;
  termination_signals_blocked& operator=(const termination_signals_blocked&) = delete;

private:
  sigset_t before_{};
};

// In the child, first of all: a session of its own, the lowest priority, and the signals, the
// signal mask and the descriptor limit that any program may expect to be started with. It gets
// SIGTERM when the process `service`, its parent, ends for whatever reason.
void begin_child(pid_t service);
