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
constexpr std::uint8_t remote_flag_address = 1;   // given, not empty
constexpr std::uint8_t remote_flag_user = 2;      // given, not empty
constexpr std::uint8_t remote_flag_password = 4;  // given, also when empty

// The settings of one run, read once from the configuration file. Credentials are plain text here
// as they are in the file.
class transcode_settings {
public:
  bool fullspeed = false;         // local transcodes are not held back
  std::int32_t max_profile = -1;  // highest profile to choose, below 1 none
  std::uint8_t remote_flags = 0;  // which remote keys were given
  std::string password;           // of the account on the transcode server
  std::string address;            // of the transcode server, a host name or an address
  std::string user;               // of the account on the transcode server

  // Puts every field at its default.
  void clear();

  // Puts every field at its default, then reads "/mnt/main/tv/vod.conf". A file that cannot be
  // read, unknown keys and malformed lines are silently ignored.
  void vod_conf_load();

  // True when address, user and password were all given and there is an address: transcodes then
  // run on that server.
  bool go_remote() const;

  // True when a highest profile is set.
  bool has_vod_max_profile() const { return max_profile > 0; }

private:
  void set_remote_flag(std::uint8_t flag, bool is_given);
  void apply(const char* name, const char* value);
};

// The settings of this process. The object hides its class of the same name; `class` in front names
// the class.
extern class transcode_settings transcode_settings;
