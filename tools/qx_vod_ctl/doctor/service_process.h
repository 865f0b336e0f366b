// The process behind the control socket.
#pragma once

#include <ctime>
#include <string>

#include <sys/types.h>

struct service_process {
  pid_t pid = -1;
  std::string executable;   // its path; empty when this user may not see it
  bool replaced = false;    // another file has that name since it was started
  std::time_t started = 0;  // seconds since 1970; 0 when it cannot be told
};

// Asks the kernel who serves `socket_path`. False when nobody does, or nobody whom this user may
// speak with.
bool find_service_process(const std::string& socket_path, service_process& process);

// When a process was started, in seconds since 1970; 0 when it cannot be told.
std::time_t start_of_process(pid_t pid);
