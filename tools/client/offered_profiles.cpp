#include "tools/client/offered_profiles.h"

#include <algorithm>

#include "platform/transcode_settings.h"
#include "rules/limits.h"
#include "rules/transcoder_contract.h"

namespace {

constexpr std::size_t longest_name = 64;

bool is_control(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7f;
}

}  // namespace

bool is_profile_name(std::string_view text) {
  return !text.empty() && text.size() <= longest_name && text[0] != '.' && text[0] != '-' &&
         text.find('/') == std::string_view::npos &&
         std::none_of(text.begin(), text.end(), is_control);
}

program_request profile_listing(const std::string& path, std::int32_t max_profile) {
  program_request request;
  request.argv = listing_command(path, max_profile);
  request.output_limit = longest_listing;
  return request;
}

std::vector<std::string> offered_profiles(const std::string& path,
                                          std::chrono::milliseconds time_limit) {
  class transcode_settings settings;
  settings.vod_conf_load();
  program_request request = profile_listing(path, settings.max_profile);
  request.time_limit = time_limit;
  const program_result result = run_program(request);
  return result.success() ? profiles_in_listing(result.output) : std::vector<std::string>();
}

std::string profile_refusal(const std::string& profile, const std::vector<std::string>& offered) {
  const bool is_offered = std::find(offered.begin(), offered.end(), profile) != offered.end();
  if (offered.empty() || is_offered) { return ""; }
  std::string text = "there is no profile \"" + profile + "\" for this source; offered:";
  for (const auto& name : offered) {
    text += (&name == &offered.front() ? " " : ", ") + name;
  }
  return text;
}
