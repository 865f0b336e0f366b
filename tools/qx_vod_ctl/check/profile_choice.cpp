// The service's choice among the profiles that the transcoder offers.
#include "tools/qx_vod_ctl/check/profile_choice.h"

#include <cstdlib>

std::vector<std::string> read_profiles(const std::string& listing) {
  std::vector<std::string> names;
  bool in_list = false;
  std::size_t end = 0;
  for (std::size_t begin = 0; (end = listing.find('\n', begin)) != std::string::npos;
       begin = end + 1) {
    std::string line = listing.substr(begin, end - begin);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (!in_list) {
      in_list = line == "*QUOTE";
    } else if (line.compare(0, 3, ".. ") == 0) {
      const std::size_t name = line.find_first_not_of(' ', 3);
      if (name != std::string::npos) names.push_back(line.substr(name));
    }
  }
  return names;
}

profile_choice choose_profile(const std::vector<std::string>& profiles, std::int32_t max_profile) {
  if (max_profile < 1) return {profiles.front(), "it is the first that the transcoder offers"};
  const std::string limit = "\"max profile\", " + std::to_string(max_profile);
  for (const auto& profile : profiles) {
    if (std::strtol(profile.c_str(), nullptr, 10) <= max_profile) {
      return {profile, "it is the first that is not above " + limit};
    }
  }
  return {profiles.back(), "all are above " + limit + ", and it is the last"};
}
