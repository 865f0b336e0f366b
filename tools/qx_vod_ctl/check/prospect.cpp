// Looks ahead: each step as the service would take it, without taking it.
#include "tools/qx_vod_ctl/check/prospect.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "platform/clock.h"
#include "platform/cpu.h"
#include "platform/media_metadata.h"
#include "platform/paths.h"
#include "platform/transcode_settings.h"
#include "rules/control_words.h"
#include "rules/output_name.h"
#include "rules/source_rules.h"
#include "rules/texts.h"
#include "rules/tool_commands.h"
#include "rules/transcoder_contract.h"
#include "tools/client/offered_profiles.h"
#include "tools/client/secret_mask.h"
#include "tools/media/identify.h"
#include "tools/media/left_segments.h"
#include "tools/media/profiles.h"
#include "tools/media/tool_config.h"
#include "tools/qx_vod_ctl/doctor/configuration.h"

namespace {

constexpr std::chrono::minutes listing_time_limit{2};

// A placeholder for the time that the service will put into the name.
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

  // Metadata of the file are trusted, as the service does.
  bool identify_source() {
    const stored_metadata stored = read_stored_metadata(found_.path);
    if (!stored.readable) { return refuse(text_metadata_unreadable); }
    found_.identity = stored.entries;
    found_.identity_stored = !stored.entry(entry_file_type).empty();
    const std::string text =
        metadata_refusal(stored.entry(entry_file_type), stored.entry(entry_offline));
    if (!text.empty()) { return refuse(text); }
    return found_.identity_stored || look_into_source();
  }

  bool look_into_source() {
    std::vector<item_entry> entries;
    std::string error;
    if (!identify(found_.path, entries, error)) {
      found_.note = "the file " + error;
      return refuse(text_not_identified);
    }
    found_.identity.clear();
    for (const auto& [name, value] : entries) {
      if (!value.empty()) { found_.identity.emplace_back(name, value); }
    }
    const std::string text = metadata_refusal(entry(entry_file_type), "");
    return text.empty() || refuse(text);
  }

  bool list_profiles() {
    program_request request = profile_listing(found_.path, settings_.max_profile);
    request.time_limit = listing_time_limit;
    const program_result result = run_program(request);
    if (result.end == program_end::too_much_output) { return refuse(text_listing_too_long); }
    if (result.end == program_end::timed_out || result.end == program_end::tool_stopped) {
      return give_up("the transcoder did not list its profiles: " + result.cause());
    }
    if (!result.success()) {
      found_.note = result.cause();
      return refuse(text_listing_failed);
    }
    found_.profiles = profiles_in_listing(result.output);
    return true;
  }

  bool name_output() {
    if (found_.profiles.empty()) { return refuse(text_nothing_listed); }
    const std::string unknown_profile = profile_refusal(profile_, found_.profiles);
    if (!profile_.empty() && !unknown_profile.empty()) { return refuse(unknown_profile); }
    found_.choice = profile_.empty() ? explain_choice(found_.profiles, settings_.max_profile)
                                     : explained_choice{profile_, "it was given"};
    const bool has_name =
        metadata_folder_of_output(output_at(std::to_string(gettimeofday_us()))).has_value();
    return has_name || refuse(text_nothing_listed);
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
    if (!settings_.go_remote()) { add_segments(seconds); }
    if (settings_.go_remote()) {
      found_.server = shown_address(settings_.address);
      add_remote_commands();
    } else {
      add_local_command();
    }
  }

  void add_segments(double seconds) {
    std::vector<std::string> ignored;  // doctor reports them
    const tool_config config = read_tool_config(media_conf_path(), ignored);
    if (!config.checkpoint) { return; }
    found_.in_segments =
        found_.choice.profile != sound_profile && seconds >= config.checkpoint_min_seconds;
    found_.segments = find_segments_of(found_.path, path_output_dir);
  }

  std::string output_at(const std::string& moment) const {
    return output_path_for(moment, found_.choice.profile,
                           found_.path.substr(found_.path.rfind('/') + 1));
  }

  void add_local_command() {
    transcode_order order{found_.choice.profile, found_.path, output_at(moment_text), {}};
    if (settings_.fullspeed) { order.full_speed_threads = how_many_cpus(); }
    found_.commands = {transcode_command(order)};
  }

  void add_remote_commands() {
    const std::string& server = found_.server;
    std::vector<std::string> request = request_command(masked_text);
    request.push_back(gateway_url(server, command_add));
    found_.commands = {
        upload_command("UUID", found_.path), request,
        download_command({output_at(moment_text), masked_text, masked_text, server, "FAR_OUTPUT"})};
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
