// The service's choice among the profiles that the transcoder offers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct profile_choice {
  std::string profile;
  std::string reason;  // in words that follow "because"
};

// The first that is not above `max_profile`, else the last; `max_profile` below 1 is no limit.
// `profiles` is not empty.
profile_choice choose_profile(const std::vector<std::string>& profiles, std::int32_t max_profile);
