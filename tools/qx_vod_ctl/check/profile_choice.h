// Explains the service's choice among the profiles that the transcoder offers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct explained_choice {
  std::string profile;
  std::string reason;  // in words that follow "because"
};

// Chooses as the service does (choose_profile()). `profiles` is not empty.
explained_choice explain_choice(const std::vector<std::string>& profiles, std::int32_t max_profile);
