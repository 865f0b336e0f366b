#include "exec/forked_child.h"

#include <algorithm>
#include <initializer_list>

#include <sys/prctl.h>
#include <unistd.h>

#include "platform/descriptor_limit.h"

namespace {

constexpr int exit_orphaned = 1;

// Before anything that may take long: with the instance lock and the control socket, a child that
// gets no processor time would keep the next service from starting.
void close_all_but(int kept, int also_kept) {
  const auto [low, high] = std::minmax(kept, also_kept);
  int first = STDERR_FILENO + 1;
  for (const int fd : {low, high}) {
    if (fd < first) { continue; }
    if (fd > first) { close_range(static_cast<unsigned>(first), static_cast<unsigned>(fd) - 1, 0); }
    first = fd + 1;
  }
  close_range(static_cast<unsigned>(first), ~0U, 0);
}

// An ignored signal stays ignored across exec, but a tool whose reader has gone should be ended by
// SIGPIPE.
void reset_dispositions() {
  for (int signal_number = 1; signal_number < NSIG; ++signal_number) {
    signal(signal_number, SIG_DFL);
  }
}

// Two tools must never write the same output, and the next service will start the same steps again.
void end_with(pid_t service) {
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != service) {
    _exit(exit_orphaned);  // the parent ended before the line above
  }
}

// A signal that arrived in between ends the child here.
void unblock_all() {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

// On a machine that is on air, everything else has priority over a job's steps.
void take_lowest_priority() {
  const int priority = nice(20);  // limited to the lowest possible
  static_cast<void>(priority);
}

}  // namespace

termination_signals_blocked::termination_signals_blocked() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal_number : {SIGINT, SIGTERM, SIGQUIT}) {
    sigaddset(&set, signal_number);
  }
  sigprocmask(SIG_BLOCK, &set, &before_);
}

termination_signals_blocked::~termination_signals_blocked() {
  sigprocmask(SIG_SETMASK, &before_, nullptr);
}

void begin_child(pid_t service, int kept, int also_kept) {
  close_all_but(kept, also_kept);
  setsid();
  reset_dispositions();
  end_with(service);
  unblock_all();
  restore_descriptor_limit();
  take_lowest_priority();
}
