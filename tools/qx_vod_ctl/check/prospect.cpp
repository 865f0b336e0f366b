// Looks ahead: each step as the service would take it, without taking it.
#include "tools/qx_vod_ctl/check/prospect.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/cpu.h"
#include "platform/media_metadata.h"
#include "platform/paths.h"
#include "service/transcode_settings.h"
#include "tools/client/offered_profiles.h"
#include "tools/qx_vod_ctl/doctor/configuration.h"
#include "tools/qx_vod_ctl/secret_mask.h"
#include "tools/qxmi_startitem/identify.h"
#include "tools/qxmi_vod_transcode/profiles.h"

namespace {

constexpr const char* transcoder = "/usr/bin/qxmi_vod_transcode";

constexpr std::chrono::minutes listing_time_limit{2};

// What stands in a name for the moment at which the service makes it up.
constexpr const char* moment_text = "TIME";

constexpr int sound_kbit = 160;  // the transcoder's, for whatever source
constexpr int bits_per_byte = 8;

class preview {
public:
  preview(const std::string& path, std::string profile, const speed_lookup& speed_of)
      : profile_(std::move(profile)), speed_of_(speed_of) {
    found_.path = path;
  }

  prospect look() {
    load_settings();
    found_.refused = judge_source(found_.path);
    const bool goes_on = found_.accepted() && identify_source() && list_profiles() && name_output();
    if (goes_on) { add_outcome(); }
    return found_;
  }

private:
  bool refuse(std::string text) {
    found_.refused.text = std::move(text);
    return false;
  }

  bool give_up(std::string text) {
    found_.refused.unknown = true;
    return refuse(std::move(text));
  }

  void load_settings() {
    const text_file file = read_configuration_file();
    if (file.read()) { settings_.vod_conf_load(); }
    if (!file.read() && !file.missing()) {
      found_.note = std::string(path_vod_conf) + " " + file.cause() + ": treated as empty";
    }
  }

  // What the file's metadata say is believed, as the service does.
  bool identify_source() {
    const stored_metadata stored = read_stored_metadata(found_.path);
    if (!stored.readable) { return refuse("unable to check metadata"); }
    found_.identity = stored.entries;
    found_.identity_stored = !stored.entry("file type").empty();
    if (stored.offline) { return refuse("Rejected: File is marked offline"); }
    if (!found_.identity_stored && !look_into_source()) { return false; }
    if (is_transcodeable(entry("file type"))) { return true; }
    return refuse("Rejected: File type is not transcodeable");
  }

  bool look_into_source() {
    std::vector<item_entry> entries;
    std::string error;
    if (!identify(found_.path, entries, error)) {
      found_.note = "the file " + error;
      return refuse("Rejected: Unable to create metadata or identify item");
    }
    found_.identity.clear();
    for (const auto& [name, value] : entries) {
      if (!value.empty()) { found_.identity.emplace_back(name, value); }
    }
    return true;
  }

  bool list_profiles() {
    program_request request = profile_listing(found_.path, settings_.max_profile);
    request.time_limit = listing_time_limit;
    const program_result result = run_program(request);
    if (result.end == program_end::too_much_output) {
      return refuse("Rejected: utility std-output buffer overrun. Please report to Velmar staff.");
    }
    if (result.end == program_end::timed_out || result.end == program_end::tool_stopped) {
      return give_up("the transcoder did not list its profiles: " + result.cause());
    }
    if (!result.success()) {
      found_.note = result.cause();
      return refuse("Rejected: Unable to determine appropriate transcoding profiles");
    }
    found_.profiles = read_profiles(result.output);
    return true;
  }

  bool name_output() {
    constexpr const char* text =
        "Rejected: Transcoder could not determine profiles (but returned success)";
    if (found_.profiles.empty()) { return refuse(text); }
    const std::string unknown_profile = profile_refusal(profile_, found_.profiles);
    if (!profile_.empty() && !unknown_profile.empty()) { return refuse(unknown_profile); }
    found_.choice = profile_.empty() ? choose_profile(found_.profiles, settings_.max_profile)
                                     : profile_choice{profile_, "it was given"};
    return output_can_be_named(found_.path, found_.choice.profile) || refuse(text);
  }

  void add_outcome() {
    const double seconds = length_of_duration(entry("duration").c_str());
    const double rate = std::strtod(entry("frame rate").c_str(), nullptr);
    found_.size = limit_of_size(found_.choice.profile, seconds, rate);
    const auto speed = speed_of_(found_.choice.profile);
    if (speed && seconds > 0.0) { found_.time = work_time{seconds / *speed, *speed}; }
    disk_room room;
    for (const char* folder : {path_output_dir, "/mnt/main/tv", "/mnt/main"}) {
      if (!found_.room && read_disk_room(folder, room)) { found_.room = room; }
    }
    if (settings_.go_remote()) {
      found_.server = shown_address(settings_.address);
      add_remote_commands();
    } else {
      add_local_command();
    }
  }

  std::string output() const {
    return output_path(found_.path, found_.choice.profile, moment_text);
  }

  void add_local_command() {
    std::vector<std::string> command = {transcoder};
    if (settings_.fullspeed) {
      command.insert(command.end(), {"-d", "0", "--cpu-cap", "0", "--max-threads",
                                     std::to_string(how_many_cpus())});
    } else {
      command.insert(command.end(), {"-d", "7", "--cpu-cap", "70"});
    }
    command.insert(command.end(), {"--profile", found_.choice.profile, "-f", "mp4", "-o", output(),
                                   "--file", found_.path});
    found_.commands = {command};
  }

  void add_remote_commands() {
    const std::string& server = found_.server;
    found_.commands = {
        {"/usr/bin/qxmi_remote_transcode", "UUID", found_.path},
        {"/usr/bin/curl", "--silent", "-i", "-X", "POST", "--data-binary", "@-", "--user",
         masked_text, "http://" + server + "/reelstack4/vod.cgi?c=vodsrv&vc=add"},
        {"/usr/bin/wget", "--continue", "--progress=dot", "--output-document=" + output(),
         std::string("--user=") + masked_text, std::string("--password=") + masked_text,
         "ftp://" + server + "/FAR_OUTPUT"}};
  }

  std::string entry(const std::string& name) const {
    for (const auto& [key, value] : found_.identity) {
      if (key == name) { return value; }
    }
    return "";
  }

  class transcode_settings settings_;
  std::string profile_;
  const speed_lookup& speed_of_;
  prospect found_;
};

}  // namespace

prospect look_ahead(const std::string& path, const std::string& profile,
                    const speed_lookup& speed_of) {
  return preview(path, profile, speed_of).look();
}

std::optional<size_limit> limit_of_size(const std::string& profile, double seconds,
                                        double frame_rate) {
  const int height = profile_height(profile);
  if (seconds <= 0.0 || (height == 0 && profile != sound_profile)) { return std::nullopt; }
  const int picture = height == 0 ? 0 : peak_bit_rate(height, frame_rate);
  char length[40];
  std::snprintf(length, sizeof length, "%.2f s", seconds);
  size_limit limit;
  // The picture's limit holds over its buffer, which is twice that of a second.
  const double kbit = seconds * (picture + sound_kbit) + 2.0 * picture;
  limit.bytes = static_cast<std::uint64_t>(kbit * 1000.0 / bits_per_byte);
  limit.basis = std::string(length) + " at no more than ";
  if (picture > 0) { limit.basis += std::to_string(picture) + " kbit/s of video and "; }
  limit.basis += std::to_string(sound_kbit) + " kbit/s of audio";
  return limit;
}
