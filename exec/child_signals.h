// The state of a child's signals, from the kernel.
#pragma once

#include <cstdint>

#include <sys/types.h>

// One bit per signal: see has_signal().
struct child_signals {
  bool is_tool = false;       // it executes its tool; false as well for a child that has ended
  std::uint64_t pending = 0;  // sent and not taken yet
  std::uint64_t caught = 0;   // it has a handler
};

// True when the set has the bit of that signal, 1 to 64.
constexpr bool has_signal(std::uint64_t set, int signal_number) {
  return (set >> (signal_number - 1) & 1) != 0;
}

// Reads it out of /proc, which never blocks. A child of which /proc says nothing counts as a tool
// that catches every signal. Blocked signals are not reported, because shells block all signals at
// times.
child_signals read_child_signals(pid_t pid);
