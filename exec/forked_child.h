// Setting up a forked child before it executes its tool.
#pragma once

#include <csignal>

#include <sys/types.h>

// Blocks termination signals during a fork: until begin_child() the child has the service's
// handlers, which would only count the signal.
class termination_signals_blocked {
public:
  termination_signals_blocked();
  ~termination_signals_blocked();
  termination_signals_blocked(const termination_signals_blocked&) = delete;
  termination_signals_blocked& operator=(const termination_signals_blocked&) = delete;

private:
  sigset_t before_{};
};

// The first call in the child: closes all descriptors but the standard streams and the two that are
// given (-1 for none), creates a session, sets the lowest priority, and resets signals, signal mask
// and descriptor limit to what any program expects at its start. The child gets SIGTERM when its
// parent, the process `service`, ends for whatever reason.
void begin_child(pid_t service, int kept = -1, int also_kept = -1);
