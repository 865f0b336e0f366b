// The sources of the media matrix and what their transcodes have to look like.
#include <algorithm>
#include <iterator>
#include <string_view>

#include "tests/media/expected_result.h"

namespace qx_test {
namespace {

// Describes one source: 320x240 at 25 pictures a second, 12 s long, unless more is said.
class film {
public:
  explicit film(const std::string& source) {
    result_.source = source;
    result_.profile = "240";
  }

  film& size(int width, int height) {
    result_.width = width;
    result_.height = height;
    result_.profile = std::to_string(height);
    return shape(double(width) / height);
  }
  film& shape(double ratio) { return shapes(ratio, ratio); }
  film& shapes(double start, double end) {
    result_.shape_at_start = start;
    result_.shape_at_end = end;
    return *this;
  }
  film& rate(const std::string& rate) {
    result_.rate = rate;
    return *this;
  }
  film& seconds(double seconds) {
    result_.seconds = seconds;
    return *this;
  }
  film& beat_from(double first) {
    result_.first_flash = first;
    result_.first_beep = first;
    return *this;
  }
  film& beeps_from(double first) {
    result_.first_beep = first;
    return *this;
  }
  film& silent() {
    result_.has_sound = false;
    return *this;
  }
  film& colours(colours_expected kind) {
    result_.colours = kind;
    return *this;
  }
  // Mapping from wide primaries enlarges what coding took from the darkest parts.
  film& colours_within(double tolerance) {
    result_.colour_tolerance = tolerance;
    return *this;
  }
  film& tracks_apart() {
    result_.tracks = tracks_expected::apart;
    return *this;
  }
  film& louder(double units, double tolerance = 1.0) {
    result_.louder = units;
    result_.loudness_tolerance = tolerance;
    return *this;
  }
  // Where pieces meet, a picture or a block of sound more or less is nothing to complain of.
  film& spliced() {
    result_.time_tolerance = 0.2;
    return *this;
  }
  film& concealed() {
    result_.decodes_alike = false;
    return *this;
  }
  film& jumps() {
    result_.on_one_clock = false;
    return spliced();
  }
  film& brief() {
    result_.in_short_form = true;
    return *this;
  }
  operator expected_result() const { return result_; }

private:
  expected_result result_;
};

expected_result sound_alone(const std::string& source) {
  expected_result result;
  result.source = source;
  result.profile = "audio";
  result.width = 0;
  result.height = 0;
  result.colours = colours_expected::none;
  return result;
}

film hd(const std::string& source, int height = 360) {
  return film(source).size(height * 16 / 9, height).seconds(4);
}

film pieces(const std::string& source, double seconds) {
  return film(source).seconds(seconds).spliced();
}

// The second track's tone is louder than the scene's sound.
constexpr double with_second_track = 3.3;

using list = std::vector<expected_result>;

list containers() {
  return {film("h264.mp4").brief(),
          film("h264_fragmented.mp4"),
          film("hevc.mp4"),
          film("h264.mkv").brief(),
          film("h264_aac.avi"),
          film("mpeg4_mp3.avi"),
          film("mjpeg_pcm.avi"),
          film("vp9.webm"),
          film("vp8.webm"),
          film("prores.mov"),
          film("dnxhr.mov"),
          hd("dnxhd.mxf").seconds(8),
          film("mpeg2.mxf"),
          film("wmv.asf"),
          film("h264.flv"),
          film("flv1.flv"),
          film("program.mpg"),
          film("mpeg1.mpg"),
          film("mpeg2.ts"),
          film("h264.ts"),
          film("hevc.ts"),
          film("h264.m2ts"),
          film("theora.ogg"),
          film("silent.mp4").silent(),
          film("garbage_behind.mp4"),
          film("garbage_behind.ts"),
          film("edit_list.mp4").seconds(7.8).beat_from(0.8),
          film("damaged.ts").spliced().concealed(),
          film("cut_start.ts").seconds(15.5).beat_from(-1.0),
          film("long_name.mp4")};
}

list rates() {
  return {film("rate_23976.mp4").rate("24000/1001"), film("rate_24.mkv").rate("24/1"),
          film("rate_2997.mp4").rate("30000/1001"),  film("rate_30.mov").rate("30/1"),
          film("rate_50.ts").rate("50/1"),           film("rate_5994.ts").rate("60000/1001"),
          film("rate_60.mp4").rate("60/1"),          film("rate_100.mp4").rate("50/1"),
          film("rate_15.flv").rate("15/1"),          film("variable.mp4").rate("30/1").brief(),
          film("variable.mkv").rate("30/1")};
}

list sound() {
  return {pieces("ac3_20_51_20.ts", 24).louder(-0.7, 1.5).brief(),
          pieces("ac3_51_20.ts", 16).louder(-0.7, 1.5),
          pieces("mono_stereo.ts", 16),
          pieces("aac_mono_stereo.ts", 16),
          film("mono.mp4").brief(),
          film("stereo.mov"),
          film("surround_51.ts").louder(-3.0).brief(),
          film("surround_fronts.mp4"),
          film("surround_71.mkv").louder(-3.0),
          film("surround_loud.mkv").louder(14.0, 5.0),
          film("ten_channels.mov"),
          film("two_mono.mxf").tracks_apart().louder(with_second_track).brief(),
          film("four_mono.mxf").tracks_apart().louder(with_second_track),
          film("eight_mono.mxf").tracks_apart().louder(with_second_track),
          film("two_mono.mov").tracks_apart().louder(with_second_track),
          film("four_mono.mov").tracks_apart().louder(with_second_track),
          film("eight_mono.mov").tracks_apart().louder(with_second_track),
          film("sound_late_25.ts").seconds(40).beeps_from(25),
          film("sound_late_45.ts").size(480, 360).beeps_from(5),
          film("sound_late.mkv").beeps_from(9).louder(-1.0),
          film("two_programs.ts")};
}

list interlace() {
  return {film("mpeg2_top_first.ts").brief(),
          film("mpeg2_bottom_first.ts"),
          pieces("mpeg2_later_interlaced.ts", 16).brief(),
          pieces("mpeg2_much_later_interlaced.ts", 40),
          film("h264_mbaff.ts"),
          film("h264_frame_coded.ts"),
          pieces("h264_later_interlaced.ts", 16).brief(),
          film("h264_mbaff.mp4"),
          film("h264_mbaff_1440.ts").size(1920, 1080).seconds(8),
          film("dv_pal.dv").size(768, 576),
          film("dv_ntsc.avi").size(640, 480).rate("30000/1001"),
          film("prores_interlaced.mov"),
          film("flagged_by_container.mov"),
          film("flagged_by_container.mkv"),
          film("mpeg2_interlaced.mxf"),
          film("unmarked.avi").size(320, 480),
          film("unmarked.mp4").size(320, 480)};
}

list clocks() {
  return {pieces("jump_forward.ts", 16).jumps().brief(),
          pieces("jump_backward.ts", 16).jumps(),
          pieces("encoder_restart.ts", 24).jumps().brief(),
          pieces("jump_small.ts", 16).jumps(),
          pieces("wrap.ts", 16),
          pieces("wrap_and_jump.ts", 16).jumps(),
          pieces("jump_h264.ts", 16).jumps(),
          pieces("spliced.mpg", 16),
          pieces("program_change.ts", 16).jumps().louder(-0.7, 1.5)};
}

list colours() {
  const auto hues = colours_expected::hues;
  return {hd("untagged_hd.mp4").brief(),
          hd("untagged_hd_mpeg2.ts"),
          film("untagged_sd.mp4"),
          hd("tagged_hd.mp4"),
          hd("hd_as_601.mp4"),
          film("sd_as_709.mp4"),
          film("sd_as_470bg.mp4"),
          film("full_range.mp4").brief(),
          hd("full_range_hd.mp4", 720),
          film("depth_10.mkv"),
          film("chroma_444.mkv"),
          film("rgb_h264.mkv").brief(),
          hd("rgb_hd.mov"),
          film("rgb_animation.mov"),
          film("rgb_raw.avi"),
          film("wide_gamut.mkv").colours_within(14.0).brief(),
          film("hlg.mkv").colours(hues),
          film("pq.mp4").colours(hues).brief(),
          hd("pq_hd.mp4").colours(hues)};
}

list shapes() {
  const auto none = colours_expected::none;
  return {film("pal_4_3.ts").size(640, 480),
          film("pal_16_9.ts").size(854, 480).shape(16.0 / 9),
          film("ntsc_16_9.mpg").size(852, 480).shape(16.0 / 9).rate("30000/1001"),
          pieces("4_3_then_16_9.ts", 16).shapes(4.0 / 3, 16.0 / 9).brief(),
          pieces("16_9_then_4_3.ts", 16).size(426, 240).shapes(16.0 / 9, 4.0 / 3),
          pieces("size_change.ts", 16).size(640, 360).shapes(16.0 / 9, 4.0 / 3),
          pieces("sd_then_hd.ts", 16).shapes(4.0 / 3, 16.0 / 9),
          film("rotated_90.mp4").size(180, 240).brief(),
          film("rotated_180.mp4"),
          film("rotated_270.mov").size(180, 240),
          film("odd_size.mkv"),
          film("two_by_two.mkv").size(2, 2).colours(none),
          film("two_by_two.mp4").size(2, 2).colours(none)};
}

list sounds_alone() {
  list result;
  for (const char* name :
       {"tone.mp3", "tone.wav", "tone.flac", "tone.aac", "tone.ogg", "tone.m4a", "cover.mp3"}) {
    result.push_back(sound_alone(name));
  }
  result.front().in_short_form = true;
  result.push_back(sound_alone("mono.wav"));
  return result;
}

constexpr double least_seconds = 8.0;
constexpr std::string_view cut_containers[] = {"mp4", "mov", "mkv", "webm", "mxf", "ts", "m2ts"};

}  // namespace

bool expected_result::is_resumable() const {
  const std::string ending = source.substr(source.rfind('.') + 1);
  return has_picture() && on_one_clock && seconds >= least_seconds &&
         std::find(std::begin(cut_containers), std::end(cut_containers), ending) !=
             std::end(cut_containers);
}

const std::vector<expected_result>& all_expected() {
  static const list all = [] {
    list joined;
    for (const list& part : {containers(), rates(), sound(), interlace(), clocks(), colours(),
                             shapes(), sounds_alone()}) {
      joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
  }();
  return all;
}

}  // namespace qx_test
