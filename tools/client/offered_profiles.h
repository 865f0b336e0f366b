// The profiles that the transcoder offers for a source, for those who let users choose one.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/media/process_runner.h"

// Whether a profile can be called so: 1 to 64 bytes without slash and control character, of which
// the first is neither a dot nor a dash. The name becomes part of the output's file name.
bool is_profile_name(std::string_view text);

// How the service has the profiles of `path` listed, up to `max_profile` lines of picture; below 1
// there is no limit. No time limit is set.
program_request profile_listing(const std::string& path, std::int32_t max_profile);

// The profiles that the service would be offered for the source at the absolute path `path` under
// the current configuration; empty if they cannot be listed within `time_limit`, for example
// because this user may not read the file. Blocks.
std::vector<std::string> offered_profiles(const std::string& path,
                                          std::chrono::milliseconds time_limit);

// Why `profile` cannot be made, with those that can be; empty when it is among `offered`, and when
// nothing is offered, which says nothing.
std::string profile_refusal(const std::string& profile, const std::vector<std::string>& offered);
