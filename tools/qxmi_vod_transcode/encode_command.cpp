// The engine's command line for one transcode.
#include "tools/qxmi_vod_transcode/encode_command.h"

#include "tools/qxmi_vod_transcode/profiles.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace {

constexpr int key_frame_seconds = 2;

// Where the sound begins late or has gaps it is filled with silence, so that it stays in step.
constexpr const char* sound_filters = "aresample=48000:async=1000:min_hard_comp=0.1:first_pts=0";

// These decoders mark each picture as interlaced or not, so that a film inside an interlaced
// broadcast keeps its sharpness; with any other the word of the container has to do.
constexpr std::string_view marks_each_picture[] = {"mpeg2video", "h264", "hevc", "vc1", "mpeg4"};

constexpr const char* tone_mapping_input = "bt2020";

void append(argument_list& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

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

void add_picture(argument_list& arguments, const source_media& media,
                 const encode_settings& settings) {
  const double rate = media.frame_rate().value();
  const std::string key_frames = std::to_string(std::lround(rate * key_frame_seconds));
  const int peak = peak_bit_rate(settings.size.height, rate);
  append(arguments, {"-map", "0:" + std::to_string(media.picture->index)});
  append(arguments, {"-filter:v", picture_filters(media, settings)});
  append(arguments, {"-c:v", "libx264", "-profile:v", "high", "-preset", "fast", "-crf", "22"});
  append(arguments, {"-maxrate:v", std::to_string(peak) + "k"});
  append(arguments, {"-bufsize:v", std::to_string(2 * peak) + "k"});
  append(arguments, {"-g", key_frames, "-keyint_min", key_frames, "-sc_threshold", "0"});
  append(arguments, {"-threads:v", std::to_string(settings.threads)});
}

void add_sound(argument_list& arguments, const audio_stream& sound) {
  append(arguments, {"-map", "0:" + std::to_string(sound.index), "-filter:a", sound_filters});
  append(arguments, {"-c:a", "aac", "-profile:a", "aac_low", "-ac", "2", "-b:a", "160k"});
}

}  // namespace

std::string picture_filters(const source_media& media, const encode_settings& settings) {
  std::string chain;
  if (media.picture->interlaced) chain += deinterlacer(media.picture->codec);
  chain += "fps=" + text(media.frame_rate()) + ":start_time=0,";
  chain += "scale=" + std::to_string(settings.size.width) + ":" +
           std::to_string(settings.size.height) + ":flags=bicubic:out_range=tv,setsar=1,";
  if (settings.tone_map) chain += tone_mapper(media.picture->transfer);
  return chain + "format=yuv420p";
}

argument_list encode_command(const source_media& media, const encode_settings& settings,
                             const std::string& input_url, const std::string& output_url) {
  const std::string threads = std::to_string(settings.threads);
  argument_list arguments = ffmpeg_command();
  append(arguments, {"-progress", "pipe:1", "-stats_period", "0.25", "-filter_threads", threads});
  append(arguments, {"-fflags", "+genpts", "-threads", threads});
  add_input(arguments, input_url);
  append(arguments, {"-map_metadata", "-1", "-map_chapters", "-1"});
  if (media.picture) add_picture(arguments, media, settings);
  if (media.sound) add_sound(arguments, *media.sound);
  append(arguments, {"-t", std::to_string(settings.time_limit), "-movflags", "+faststart"});
  add_output(arguments, "mp4", output_url);
  return arguments;
}

bool engine_can_tone_map() {
  program_request request;
  request.argv = {ffmpeg_path, "-hide_banner", "-filters"};
  request.time_limit = std::chrono::seconds(20);
  const program_result result = run_program(request);
  return result.success() && result.output.find(" zscale ") != std::string::npos &&
         result.output.find(" tonemap ") != std::string::npos;
}
