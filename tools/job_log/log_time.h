// Points in time as the logs write them, "2026-11-22T01:30:00.120Z": as texts they are in the order
// of time.
#pragma once

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

// `time`, of the wall clock, moved by `shift`; in UTC.
std::string log_time(const timespec& time,
                     std::chrono::milliseconds shift = std::chrono::milliseconds{0});

// The whole seconds since 1970 of such a text; nothing for any other.
std::optional<std::time_t> read_log_time(std::string_view text);
