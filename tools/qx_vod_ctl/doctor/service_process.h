// The process that owns the control socket.
#pragma once

#include <ctime>
#include <string>

#include <sys/types.h>

struct service_process {
  pid_t pid = -1;
  std::string executable;   // its path; empty when this user may not see it
  bool replaced = false;    // another file has that name since it was started
  std::time_t started = 0;  // seconds since 1970; 0 if unknown
};

// Asks the kernel which process serves `socket_path`. False if there is none, or if this user may
// not connect to it.
bool find_service_process(const std::string& socket_path, service_process& process);

// The start time of a process, in seconds since 1970; 0 if it cannot be determined.
std::time_t start_of_process(pid_t pid);
