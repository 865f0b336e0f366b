#include "tools/qx_vod_ctl/doctor/engine_parts.h"

#include <unistd.h>

#include "tools/media/engine.h"
#include "tools/media/process_runner.h"

namespace {

constexpr std::chrono::seconds time_limit{20};

using name_list = std::vector<std::string>;

// Those that the transcoder and the thumbnail tool name in their command lines.
const name_list encoders = {"libx264", "aac", "mjpeg"};
const name_list filters = {"bwdif",     "colorspace", "pad",          "setparams",
                           "fps",       "scale",      "setsar",       "format",
                           "aresample", "crop",       "showwavespic", "overlay"};
const name_list tone_filters = {"zscale", "tonemap"};

constexpr const char* advice = "install a complete ffmpeg: apt-get install ffmpeg";

std::string joined(const name_list& names) {
  std::string text;
  for (const auto& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

// In both listings a name is enclosed in blanks.
name_list missing_of(const name_list& names, const std::string& listing) {
  name_list missing;
  for (const auto& name : names) {
    if (listing.find(" " + name + " ") == std::string::npos) { missing.push_back(name); }
  }
  return missing;
}

finding judge_listing(const std::string& option, finding (*judge)(const std::string&)) {
  program_request request;
  request.argv = {ffmpeg_path, "-hide_banner", "-" + option};
  request.time_limit = time_limit;
  const program_result result = run_program(request);
  if (result.success()) { return judge(result.output); }
  return problem(option, "ffmpeg does not list its " + option + ": " + result.cause(), advice);
}

}  // namespace

finding judge_encoders(const std::string& listing) {
  const name_list missing = missing_of(encoders, listing);
  if (missing.empty()) { return fine("encoders", "ffmpeg has " + joined(encoders)); }
  return problem("encoders", "ffmpeg has no encoder " + joined(missing), advice);
}

finding judge_filters(const std::string& listing) {
  const name_list missing = missing_of(filters, listing);
  if (!missing.empty()) {
    return problem("filters", "ffmpeg has no filter " + joined(missing), advice);
  }
  const name_list no_tones = missing_of(tone_filters, listing);
  if (no_tones.empty()) { return fine("filters", "ffmpeg has all filters that the tools use"); }
  return warning("filters",
                 "ffmpeg has no filter " + joined(no_tones) +
                     "; high dynamic range video comes out pale",
                 advice);
}

finding_list check_engine() {
  if (access(ffmpeg_path, X_OK) != 0) { return {}; }
  return {judge_listing("encoders", judge_encoders), judge_listing("filters", judge_filters)};
}
