#include "tools/job_log/log_time.h"

#include <cstdio>

std::string log_time(const timespec& time, std::chrono::milliseconds shift) {
  const long long whole =
      static_cast<long long>(time.tv_sec) * 1000 + time.tv_nsec / 1000000 + shift.count();
  const std::time_t seconds = static_cast<std::time_t>(whole / 1000);
  tm parts = {};
  gmtime_r(&seconds, &parts);
  char date[32];
  char text[48];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text, sizeof text, "%s.%03dZ", date, static_cast<int>(whole % 1000));
  return text;
}

std::optional<std::time_t> read_log_time(std::string_view text) {
  tm parts = {};
  const std::string whole(text);
  const char* const rest = strptime(whole.c_str(), "%Y-%m-%dT%H:%M:%S.", &parts);
  return rest == nullptr ? std::nullopt : std::optional<std::time_t>(timegm(&parts));
}
