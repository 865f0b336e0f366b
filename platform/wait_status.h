// Helpers for interpreting a wait status.
#pragma once

#include <sys/wait.h>

// True if a signal ended the child.
inline bool ended_by_signal(int wait_status) {
  return WTERMSIG(wait_status) != 0;
}

// The child's exit code; meaningful only if no signal ended it.
inline unsigned exit_code(int wait_status) {
  return static_cast<unsigned>(WEXITSTATUS(wait_status));
}

// A child succeeds by exiting with 0. One that could not execute its tool has a non-zero exit code,
// as for any other failure.
inline bool has_succeeded(int wait_status) {
  return !ended_by_signal(wait_status) && exit_code(wait_status) == 0;
}
