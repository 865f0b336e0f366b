#include "tools/media/picture_filters.h"

#include <algorithm>
#include <string_view>

#include "tools/media/engine.h"

namespace {

// From these on a picture is high definition: 1280x720, 960x720 and 1280x534 are, 1024x576 is not.
constexpr int hd_length = 1280;
constexpr int hd_lines = 577;

// These decoders mark each picture as interlaced or not, so that a film inside an interlaced
// broadcast keeps its sharpness; with any other, the container's declaration must suffice.
constexpr std::string_view marking_codecs[] = {"mpeg2video", "h264",   "hevc",  "vc1",
                                               "mpeg4",      "prores", "dnxhd", "dvvideo"};

// The deinterlacer reads that far around a point, and refuses pictures that are smaller.
constexpr int least_interlaced_side = 4;

// Primaries well beyond those of BT.709. Those of the older standards are so close to them that no
// screen of their time showed the difference; mapping them would only colour pure colours.
constexpr std::string_view wide_primaries[] = {"bt2020", "smpte431", "smpte432"};

template <typename list_type>
bool is_among(std::string_view value, const list_type& list) {
  return std::find(std::begin(list), std::end(list), value) != std::end(list);
}

bool is_rgb(const video_stream& stream) {
  constexpr std::string_view parts[] = {"rgb", "bgr", "gbr", "pal8"};
  return std::any_of(std::begin(parts), std::end(parts), [&](std::string_view part) {
    return stream.pixel_format.find(part) != std::string::npos;
  });
}

// The matrix that most of the stream's pictures have, under the scaler's name and under that of
// the other filters.
struct source_matrix {
  const char* scaler;
  const char* name;
};

constexpr source_matrix of_bt601 = {"bt601", "smpte170m"};
constexpr source_matrix of_bt709 = {"bt709", "bt709"};
constexpr source_matrix of_bt2020 = {"bt2020", "bt2020nc"};

source_matrix matrix_of(const video_stream& stream) {
  if (stream.high_dynamic_range()) { return of_bt2020; }
  if (is_rgb(stream) || stream.matrix.empty()) {
    return matrix_for(stream.coded) == colour_matrix::bt709 ? of_bt709 : of_bt601;
  }
  if (stream.matrix == "bt709") { return of_bt709; }
  return stream.matrix == "bt2020nc" || stream.matrix == "bt2020c" ? of_bt2020 : of_bt601;
}

bool is_wide(const video_stream& stream) {
  return is_among(stream.primaries, wide_primaries);
}

std::string number(int value) {
  return std::to_string(value);
}

// One side of the scaled picture: `full` for a picture of the declared shape, else `fitted`, where
// ld(0) is the picture's own shape. A pixel eight times as wide as high is a damaged header.
std::string side(picture_size displayed, int full, const std::string& fitted) {
  const std::string declared = number(displayed.width) + "/" + number(displayed.height);
  return "'st(0,iw/ih*if(between(sar,0.125,8),sar,1));if(lt(abs(ld(0)/(" + declared +
         ")-1),0.02)," + number(full) + ",max(2,min(" + number(full) + ",2*round(" + fitted +
         "/2))))'";
}

// The filter follows these layouts alone.
constexpr std::string_view convertible[] = {"yuv420p", "yuv422p", "yuv420p10le", "yuv422p10le"};

// A recording may go from standard to high definition, or back, without telling its colours: then
// the matrix changes with the size, and such pictures are brought to the matrix of the others. The
// chain is set up again at such a change, with another size.
std::string other_size_mapper(const video_stream& stream) {
  if (!is_among(stream.pixel_format, convertible)) { return {}; }
  const bool high = matrix_for(stream.coded) == colour_matrix::bt709;
  const char* other = high ? "smpte170m" : "bt709";
  const std::string is_high =
      "gte(max(w,h)," + number(hd_length) + ")+gte(min(w,h)," + number(hd_lines) + ")";
  return std::string("colorspace=fast=1:ispace=") + other +
         ":iprimaries=bt709:itrc=bt709:irange=tv:space=" + matrix_of(stream).name +
         ":primaries=bt709:trc=bt709:range=tv:enable='" +
         (high ? "not(" + is_high + ")" : is_high) + "',";
}

// The scaler uses each picture's own matrix; only pictures that differ from most cost more.
std::string fitter(const video_stream& stream, picture_size size) {
  const std::string width = number(size.width);
  const std::string height = number(size.height);
  return "scale=w=" + side(stream.displayed, size.width, height + "*ld(0)") +
         ":h=" + side(stream.displayed, size.height, width + "/ld(0)") +
         ":eval=frame:flags=bicubic:in_color_matrix=auto:out_color_matrix=" +
         matrix_of(stream).scaler + ":out_range=tv,";
}

std::string bars(picture_size size) {
  return "pad=" + number(size.width) + ":" + number(size.height) +
         ":(ow-iw)/2:(oh-ih)/2:eval=frame,";
}

// Light is mapped as a screen shows it. All is said outright: a file that names its transfer alone
// would otherwise be refused.
std::string light_mapper(const video_stream& stream, colour_matrix matrix) {
  const std::string primaries = is_wide(stream) ? stream.primaries : "bt2020";
  const std::string input =
      "zscale=pin=" + primaries + ":min=" + matrix_of(stream).name + ":rin=tv:tin=";
  const std::string output =
      std::string("t=bt709:m=") + matrix_name(matrix) + ":r=tv,format=yuv420p,";
  if (!stream.high_dynamic_range()) { return input + "bt709:p=bt709:" + output; }
  return input + stream.transfer +
         ":t=linear:npl=100,format=gbrpf32le,zscale=p=bt709,"
         "tonemap=hable:desat=0,zscale=" +
         output;
}

std::string matrix_mapper(const video_stream& stream, colour_matrix matrix) {
  return std::string("colorspace=fast=1:ispace=") + matrix_of(stream).name +
         ":iprimaries=bt709:itrc=bt709:irange=tv:space=" + matrix_name(matrix) +
         ":primaries=bt709:trc=bt709:range=tv:format=yuv420p,";
}

}  // namespace

colour_matrix matrix_for(picture_size size) {
  const bool high = std::max(size.width, size.height) >= hd_length ||
                    std::min(size.width, size.height) >= hd_lines;
  return high ? colour_matrix::bt709 : colour_matrix::bt601;
}

const char* matrix_name(colour_matrix matrix) {
  return matrix == colour_matrix::bt709 ? "bt709" : "smpte170m";
}

std::string assumed_colours(const video_stream& stream) {
  if (!stream.matrix.empty() || is_rgb(stream)) { return {}; }
  if (stream.high_dynamic_range()) { return "setparams=colorspace=bt2020nc,"; }
  return std::string("setparams=colorspace=") + matrix_name(matrix_for(stream.coded)) + "," +
         other_size_mapper(stream);
}

bool marks_each_picture(const video_stream& stream) {
  return is_among(stream.codec, marking_codecs);
}

std::string deinterlacer(const video_stream& stream) {
  if (std::min(stream.coded.width, stream.coded.height) < least_interlaced_side) { return {}; }
  const std::string filter = "bwdif=mode=send_frame:";
  if (!stream.interlaced || (marks_each_picture(stream) && !stream.unmarked)) {
    return filter + "parity=auto:deint=interlaced,";
  }
  return filter + (stream.bottom_first ? "parity=bff:deint=all," : "parity=tff:deint=all,");
}

std::string uniform_picture(const video_stream& stream, picture_size size, colour_matrix matrix,
                            bool map_light) {
  const bool converted = map_light || matrix_of(stream).name != std::string(matrix_name(matrix));
  std::string chain = fitter(stream, size);
  chain += converted ? "format=yuv420p10," : "format=yuv420p,";
  chain += bars(size);
  if (converted) {
    chain += map_light ? light_mapper(stream, matrix) : matrix_mapper(stream, matrix);
  }
  return chain + "setsar=1,setparams=range=tv:color_primaries=bt709:color_trc=bt709:colorspace=" +
         matrix_name(matrix) + ",";
}

bool needs_light_mapped(const video_stream& stream) {
  return stream.high_dynamic_range() || is_wide(stream);
}

bool engine_can_map_light() {
  program_request request;
  request.argv = {ffmpeg_path, "-hide_banner", "-filters"};
  request.time_limit = std::chrono::seconds(20);
  const program_result result = run_program(request);
  return result.success() && result.output.find(" zscale ") != std::string::npos &&
         result.output.find(" tonemap ") != std::string::npos;
}
