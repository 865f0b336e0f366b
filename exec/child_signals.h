// The state of a child's signals, according to the kernel.
#pragma once

#include <cstdint>

#include <sys/types.h>

// One bit per signal: see has_signal().
struct child_signals {
  bool is_tool = false;       // it is executing its tool; also false for a child that has ended
  std::uint64_t pending = 0;  // sent but not delivered yet
  std::uint64_t caught = 0;   // those with a handler
};

// True if the set contains the signal, 1 to 64.
constexpr bool has_signal(std::uint64_t set, int signal_number) {
  return (set >> (signal_number - 1) & 1) != 0;
}

// Reads the state from /proc, which never blocks. A child that /proc does not describe is taken for
// a tool that catches every signal. Blocked signals are not considered: shells briefly block all of
// them.
child_signals read_child_signals(pid_t pid);
