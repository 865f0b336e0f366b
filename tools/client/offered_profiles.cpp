// Asks the transcoder what it can make of a source.
#include "tools/client/offered_profiles.h"

#include <algorithm>

#include "service/transcode_settings.h"

namespace {

constexpr const char* transcoder = "/usr/bin/qxmi_vod_transcode";

// The service takes no more than fits its buffer, less one byte.
constexpr std::size_t listing_limit = 16383;

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

std::vector<std::string> read_profiles(const std::string& listing) {
  std::vector<std::string> names;
  bool in_list = false;
  std::size_t end = 0;
  for (std::size_t begin = 0; (end = listing.find('\n', begin)) != std::string::npos;
       begin = end + 1) {
    std::string line = listing.substr(begin, end - begin);
    if (!line.empty() && line.back() == '\r') { line.pop_back(); }
    if (!in_list) {
      in_list = line == "*QUOTE";
    } else if (line.compare(0, 3, ".. ") == 0) {
      const std::size_t name = line.find_first_not_of(' ', 3);
      if (name != std::string::npos) { names.push_back(line.substr(name)); }
    }
  }
  return names;
}

program_request profile_listing(const std::string& path, std::int32_t max_profile) {
  program_request request;
  request.argv = {transcoder, "--file", path, "--quote"};
  if (max_profile > 0) {
    request.argv.insert(request.argv.end(), {"--height", std::to_string(max_profile)});
  }
  request.output_limit = listing_limit;
  return request;
}

std::vector<std::string> offered_profiles(const std::string& path,
                                          std::chrono::milliseconds time_limit) {
  class transcode_settings settings;
  settings.vod_conf_load();
  program_request request = profile_listing(path, settings.max_profile);
  request.time_limit = time_limit;
  const program_result result = run_program(request);
  return result.success() ? read_profiles(result.output) : std::vector<std::string>();
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
