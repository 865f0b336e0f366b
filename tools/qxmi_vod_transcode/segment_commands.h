// The engine's command lines that make segments and join them.
#pragma once

#include <cstdint>
#include <iterator>
#include <string>

#include "tools/qxmi_vod_transcode/encode_command.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"

// How many seconds before its first frame a run begins to read: the first of these that leads to
// the right pictures. The last one is longer than any source, which is then read from its
// beginning.
constexpr double warm_ups[] = {3.0, 12.0, 60.0, 1e9};
constexpr int no_warm_up_helps = static_cast<int>(std::size(warm_ups));

// One engine that makes these segments, one after another. As given here it makes all, as an engine
// that works in one piece would.
struct segment_run {
  segment_range pictures;  // either may be empty, but not both
  segment_range sounds;    // without meaning if the output has no sound
  // How many seconds before its first segments it begins to read; at or beyond the beginning of the
  // source it does not seek.
  double warm_up = 0.0;

  bool has_pictures() const { return !pictures.is_empty(); }
  bool has_sound(const segment_plan& plan) const { return plan.packets > 0 && !sounds.is_empty(); }
  bool is_whole() const {
    return pictures.first == 0 && pictures.is_open() && sounds.first == 0 && sounds.is_open();
  }
  // Makes all pictures, or all sound, and not both.
  bool is_all_of_its_kind() const {
    const segment_range& made = has_pictures() ? pictures : sounds;
    return made.first == 0 && made.is_open();
  }
  // The first frame that it makes.
  std::int64_t first_frame(const segment_plan& plan) const {
    return plan.first_frame(pictures.first) - plan.lead_frames(pictures.first);
  }
  // Whether it jumps into the middle of the source to reach its first sound.
  bool seeks_sound(const segment_plan& plan) const;
};

// The names of what a run leaves in its folder besides its segments: sums of the pictures around
// each beginning of a segment (framemd5), the first packet of sound that was found (framecrc), and
// the times of each segment of sound (the segment muxer's list).
constexpr const char* run_marks = "marks";
constexpr const char* run_landing = "landing";
constexpr const char* run_sound_times = "sounds";

// How many pictures at the beginning of a segment have sums.
constexpr std::int64_t marked_frames = 3;

// "v000012.mp4" and "s000012.adts"; "s000000.m4a", with time stamps, for sound that is made as a
// whole.
std::string picture_segment_name(std::int64_t segment);
std::string sound_segment_name(std::int64_t segment);
std::string whole_sound_name(std::int64_t segment);

// Makes the segments of `run` in the folder at `folder_url`, which ends with a slash. A run makes a
// short segment of pictures before its first one, to be thrown away, and one of sound, too, unless
// it makes the first one of that. It counts the time of pictures from that segment on.
argument_list run_command(const source_media& media, const encode_settings& settings,
                          const segment_plan& plan, const segment_run& run,
                          const std::string& input_url, const std::string& folder_url);

// The list of the first `count` picture segments, which all lie in the list's folder.
std::string join_list(const segment_plan& plan, std::int64_t count);

// Joins the segments of the list, and the sound at `sound_url` unless that is empty.
argument_list join_command(const segment_plan& plan, const std::string& list_url,
                           const std::string& sound_url, const std::string& output_url);

// Decodes `seconds` of a result from `begin` on; fails at the first error.
argument_list decode_command(const std::string& url, double begin, double seconds);
