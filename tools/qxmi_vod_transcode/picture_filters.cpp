// The engine's filters for the picture.
#include "tools/qxmi_vod_transcode/picture_filters.h"

#include "tools/common/engine.h"

#include <algorithm>

namespace {

// These decoders mark each picture as interlaced or not, so that a film inside an interlaced
// broadcast keeps its sharpness; with any other the word of the container has to do.
constexpr std::string_view marks_each_picture[] = {"mpeg2video", "h264", "hevc", "vc1", "mpeg4"};

constexpr const char* tone_mapping_input = "bt2020";

std::string text(rational value) {
  return std::to_string(value.num) + "/" + std::to_string(value.den);
}

std::string deinterlacer(const std::string& codec) {
  const bool marked = std::find(std::begin(marks_each_picture), std::end(marks_each_picture),
                                codec) != std::end(marks_each_picture);
  return std::string("bwdif=mode=send_frame:parity=auto:deint=") +
         (marked ? "interlaced," : "all,");
}

// The input's primaries and matrix are said outright: a file that names its transfer alone would
// otherwise be refused.
std::string tone_mapper(const std::string& transfer) {
  return std::string("zscale=tin=") + transfer + ":pin=" + tone_mapping_input +
         ":min=" + tone_mapping_input +
         "nc:t=linear:npl=100,format=gbrpf32le,zscale=p=bt709,tonemap=hable:desat=0,"
         "zscale=t=bt709:m=bt709:r=tv,";
}

}  // namespace

std::string picture_filters(const source_media& media, const picture_target& target) {
  std::string chain;
  if (media.picture->interlaced) chain += deinterlacer(media.picture->codec);
  chain += "fps=" + text(media.frame_rate()) + ":start_time=0,";
  chain += "scale=" + std::to_string(target.size.width) + ":" + std::to_string(target.size.height) +
           ":flags=bicubic:out_range=tv,setsar=1,";
  if (target.tone_map) chain += tone_mapper(media.picture->transfer);
  return chain + "format=yuv420p";
}

bool engine_can_tone_map() {
  program_request request;
  request.argv = {ffmpeg_path, "-hide_banner", "-filters"};
  request.time_limit = std::chrono::seconds(20);
  const program_result result = run_program(request);
  return result.success() && result.output.find(" zscale ") != std::string::npos &&
         result.output.find(" tonemap ") != std::string::npos;
}
