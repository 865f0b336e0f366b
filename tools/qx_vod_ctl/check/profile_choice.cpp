// The service's choice among the profiles that the transcoder offers.
#include "tools/qx_vod_ctl/check/profile_choice.h"

#include <cstdlib>

profile_choice choose_profile(const std::vector<std::string>& profiles, std::int32_t max_profile) {
  if (max_profile < 1) { return {profiles.front(), "it is the first that the transcoder offers"}; }
  const std::string limit = "\"max profile\", " + std::to_string(max_profile);
  for (const auto& profile : profiles) {
    if (std::strtol(profile.c_str(), nullptr, 10) <= max_profile) {
      return {profile, "it is the first that is not above " + limit};
    }
  }
  return {profiles.back(), "all are above " + limit + ", and it is the last"};
}
