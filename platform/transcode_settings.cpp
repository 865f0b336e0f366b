// Reads the configuration file: lines of the form "name = value"; the last line for a name wins.
#include "platform/transcode_settings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/paths.h"
#include "platform/text.h"
#include "platform/unique_file.h"

class transcode_settings transcode_settings;

namespace {

// A longer line is read in pieces, and each piece is treated as a line.
constexpr int line_buffer_size = 1023;

std::int32_t to_number(const char* value) {
  return static_cast<std::int32_t>(strtol(value, nullptr, 10));
}

}  // namespace

void transcode_settings::clear() {
  fullspeed = false;
  remote_flags = 0;
  address.clear();
  user.clear();
  password.clear();
  max_profile = -1;
}

void transcode_settings::vod_conf_load() {
  clear();
  const unique_file file(fopen(path_vod_conf, "re"));
  if (!file) { return; }
  char line[line_buffer_size];
  while (!feof(file.get()) && !ferror(file.get()) && fgets(line, sizeof(line), file.get())) {
    char* name = nullptr;
    char* value = nullptr;
    divide_name_equ_value_pair_loose(chomp(line), &name, &value);
    if (name != nullptr && value != nullptr) { apply(name, value); }
  }
}

// Kept on purpose: an empty value does not clear its flag. Effect: an address that is first set and
// then emptied leaves its flag set; go_remote() therefore checks the text as well.
void transcode_settings::set_remote_flag(std::uint8_t flag, bool is_given) {
  if (is_given) { remote_flags = static_cast<std::uint8_t>(remote_flags | flag); }
}

void transcode_settings::apply(const char* name, const char* value) {
  if (strcmp(name, setting_max_profile) == 0) {
    max_profile = to_number(value);
  } else if (strcmp(name, setting_address) == 0) {
    address = value;
    set_remote_flag(remote_flag_address, !address.empty());
  } else if (strcmp(name, setting_user) == 0) {
    user = value;
    set_remote_flag(remote_flag_user, !user.empty());
  } else if (strcmp(name, setting_password) == 0) {
    password = value;
    set_remote_flag(remote_flag_password, true);
  } else if (strcmp(name, setting_fullspeed) == 0) {
    fullspeed = strtol(value, nullptr, 10) > 0;
  }
}

bool transcode_settings::go_remote() const {
  return remote_flags == (remote_flag_address | remote_flag_user | remote_flag_password) &&
         !address.empty();
}
