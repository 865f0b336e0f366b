#include "tools/qxmi_grab/grab_command.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <initializer_list>

#include "tools/media/picture_filters.h"
#include "tools/qxmi_grab/frame_measure.h"

namespace {

// The mean step of the engine's table at scale 1, and that of the usual encoder's at quality 50.
constexpr double engine_mean_step = 4.09;
constexpr double usual_mean_step = 57.6;

constexpr const char* background_colour = "0x182430";
constexpr const char* wave_colour = "0x80c0f0";

void append(argument_list& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

std::string seconds(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.3f", value);
  return text;
}

std::string size_text(picture_size size, char between) {
  return std::to_string(size.width) + between + std::to_string(size.height);
}

// The filters for any frame, measured or kept: its position, and the choice of its lines. The lines
// of both fields together would be mistaken for sharpness.
std::string frame_filters(const picture_source& source) {
  std::string chain;
  if (source.seek.run_up > 0.0) { chain += "trim=start=" + seconds(source.seek.run_up) + ","; }
  return chain + assumed_colours(source.stream) + deinterlacer(source.stream);
}

argument_list one_frame(const picture_source& source, const std::string& filters) {
  argument_list arguments = ffmpeg_command();
  if (source.seek.enter > 0.0) { append(arguments, {"-ss", seconds(source.seek.enter)}); }
  add_input(arguments, source.url, {}, source.depth);
  append(arguments, {"-map", "0:" + std::to_string(source.stream.index)});
  append(arguments, {"-filter:v", filters, "-frames:v", "1"});
  return arguments;
}

// One JPEG is all that a stream of JPEGs holds here. The muxer for single pictures would take a
// "%" in the path for a pattern.
void add_jpeg(argument_list& arguments, const picture_target& target) {
  const std::string scale = std::to_string(quantizer_scale(target.quality));
  append(arguments, {"-c:v", "mjpeg", "-qmin", "1", "-q:v", scale, "-map_metadata", "-1"});
  add_output(arguments, "mjpeg", target.url);
}

// JPEG files have the full range and the older matrix, whatever the source has.
constexpr const char* jpeg_colours = "out_range=full:out_color_matrix=bt601";

}  // namespace

int quantizer_scale(int jpeg_quality) {
  const double percent = jpeg_quality < 50 ? 5000.0 / jpeg_quality : 200.0 - 2.0 * jpeg_quality;
  const long scale = std::lround(usual_mean_step * percent / 100.0 / engine_mean_step);
  return static_cast<int>(std::clamp(scale, 1L, 31L));
}

argument_list measure_command(const picture_source& source) {
  const picture_size size = {measured_width, measured_height};
  argument_list arguments = one_frame(
      source, frame_filters(source) + "scale=" + size_text(size, ':') + ":flags=area,format=gray");
  append(arguments,
         {"-c:v", "rawvideo", "-f", "rawvideo", "-protocol_whitelist", "pipe", "pipe:1"});
  return arguments;
}

argument_list picture_command(const picture_source& source, const picture_target& target) {
  const std::string filters =
      frame_filters(source) +
      uniform_picture(source.stream, target.shape.whole, colour_matrix::bt601, target.map_light) +
      "crop=" + size_text(target.shape.taken, ':') + ",scale=" + size_text(target.shape.made, ':') +
      ":flags=bicubic:" + jpeg_colours + ",format=yuvj420p,setsar=1";
  argument_list arguments = one_frame(source, filters);
  add_jpeg(arguments, target);
  return arguments;
}

argument_list drawing_command(const std::string& source_url, int sound_index,
                              const picture_target& target) {
  const std::string size = size_text(target.shape.made, 'x');
  const std::string graph = std::string("color=c=") + background_colour + ":s=" + size +
                            ",format=yuv444p[ground];[0:" + std::to_string(sound_index) +
                            "]aformat=channel_layouts=mono,showwavespic=s=" + size +
                            ":colors=" + wave_colour +
                            "[wave];[ground][wave]overlay=format=auto,scale=" + jpeg_colours +
                            ",format=yuvj420p,setsar=1[drawing]";
  argument_list arguments = ffmpeg_command();
  add_input(arguments, source_url);
  append(arguments, {"-filter_complex", graph, "-map", "[drawing]", "-frames:v", "1"});
  add_jpeg(arguments, target);
  return arguments;
}
