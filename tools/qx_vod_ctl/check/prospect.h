// Predicts the fate of a file if it were added now.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <json11.hpp>

#include "tools/media/left_parts.h"
#include "tools/qx_vod_ctl/check/admission.h"
#include "tools/qx_vod_ctl/check/profile_choice.h"
#include "tools/qx_vod_ctl/doctor/machine.h"

using command_line_list = std::vector<std::vector<std::string>>;

// The most that an output can take, by the bit rates that the transcoder never exceeds.
struct size_limit {
  std::uint64_t bytes = 0;
  std::string basis;  // how it was calculated
};

// How long the transcode itself would take, by what earlier jobs of the profile took.
struct work_time {
  double seconds = 0.0;
  double speed = 0.0;  // seconds of source in a second
};

struct prospect {
  std::string path;
  refusal refused;                                            // empty where it would be transcoded
  std::vector<std::pair<std::string, std::string>> identity;  // names as in metadata
  bool identity_stored = false;                               // taken from the file's metadata
  std::vector<std::string> profiles;
  explained_choice choice;
  std::string server;  // where it would be transcoded; empty for here
  std::optional<size_limit> size;
  std::optional<work_time> time;
  std::optional<disk_room> room;
  bool in_segments = false;    // made of segments, which are there beside it in the end
  left_part_sums segments;     // those that an interrupted transcode of the file has finished
  command_line_list commands;  // in the order in which they would run
  std::string note;            // a limitation of this prediction; usually empty

  bool accepted() const { return refused.text.empty(); }
};

// Returns how fast a profile was transcoded so far, in seconds of source per second.
using speed_lookup = std::function<std::optional<double>(const std::string& profile)>;

// Looks at the file and asks the transcoder for its profiles, two minutes at most each. Writes
// nothing. `profile` is the one that would be given when adding, or empty.
prospect look_ahead(const std::string& path, const std::string& profile,
                    const speed_lookup& speed_of);

// Nothing where length or height is not known.
std::optional<size_limit> limit_of_size(const std::string& profile, double seconds,
                                        double frame_rate);

// Lines of a label and its text.
std::string prospect_text(const prospect& found);
json11::Json prospect_json(const prospect& found);

// `arguments` as a shell takes them.
std::string shell_text(const std::vector<std::string>& arguments);
