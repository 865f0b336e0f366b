// Points in time as the logs write them, "2026-11-22T01:30:00.120Z": as texts they are in the order
// of time.
#pragma once

#include <chrono>
#include <ctime>
#include <string>

// `time`, of the wall clock, moved by `shift`; in UTC.
std::string log_time(const timespec& time,
                     std::chrono::milliseconds shift = std::chrono::milliseconds{0});
