// The configuration record, for the service and its companion tools.
#pragma once

#include <cstdint>
#include <string>

// The names in the configuration file.
constexpr char setting_fullspeed[] = "fullspeed";
constexpr char setting_max_profile[] = "max profile";
constexpr char setting_address[] = "transcode server address";
constexpr char setting_user[] = "transcode server user";
constexpr char setting_password[] = "transcode server password";

// Bits of transcode_settings::remote_flags.
constexpr std::uint8_t remote_flag_address = 1;   // set to a non-empty value
constexpr std::uint8_t remote_flag_user = 2;      // set to a non-empty value
constexpr std::uint8_t remote_flag_password = 4;  // set, possibly to an empty value

// The settings of one run, read once from the configuration file. Credentials are kept as plain
// text, as they are in the file.
class transcode_settings {
public:
  bool fullspeed = false;         // local transcodes are not throttled; key "fullspeed"
  std::int32_t max_profile = -1;  // highest profile to choose, any if below 1; key "max profile"
  std::uint8_t remote_flags = 0;  // which remote keys are present
  std::string password;           // key "transcode server password"
  std::string address;            // host name or address; key "transcode server address"
  std::string user;               // key "transcode server user"

  // Resets every field to its default.
  void clear();

  // Resets every field to its default, then reads "/mnt/main/tv/vod.conf". A missing or unreadable
  // file, unknown keys and malformed lines are silently ignored.
  void vod_conf_load();

  // True if address, user and password are all set and the address is not empty: transcodes then
  // run on that server.
  bool go_remote() const;

  // True if a highest profile is set.
  bool has_vod_max_profile() const { return max_profile > 0; }

private:
  void set_remote_flag(std::uint8_t flag, bool is_given);
  void apply(const char* name, const char* value);
};

// The settings of this process. The object hides the class of the same name; write `class
// transcode_settings` to refer to the class.
extern class transcode_settings transcode_settings;
