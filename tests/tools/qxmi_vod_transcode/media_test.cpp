// Transcodes of real media, examined with ffprobe.
#include <cmath>
#include <cstdio>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"
#include "tests/support/media/test_media.h"
#include "tests/support/media/tool_run.h"

using namespace qx_test;
using json11::Json;
using testing::ElementsAre;

namespace {

// One transcode of one of the test media.
struct transcoded {
  scratch_folder folder;
  std::string path = folder.file("out.mp4");
  tool_result result;
  Json report;

  transcoded(const std::string& source, const std::string& profile)
      : result(run_tool("qxmi_vod_transcode", {"-d", "7", "--cpu-cap", "0", "--profile", profile,
                                               "-f", "mp4", "-o", path, "--file", source})),
        report(inspect(path)) {
    EXPECT_EQ(result.end.status, 0);
    EXPECT_TRUE(result.errors.empty()) << result.errors.front();
    EXPECT_THAT(folder.names(), ElementsAre("out.mp4"));
  }

  Json picture() const { return stream_of(report, "video"); }
  Json sound() const { return stream_of(report, "audio"); }
  double duration() const { return number(report["format"]["duration"]); }
  double frames() const { return number(picture()["nb_read_frames"]); }

  void expect_picture(int width, int height) const {
    EXPECT_EQ(picture()["width"].int_value(), width);
    EXPECT_EQ(picture()["height"].int_value(), height);
    EXPECT_EQ(picture()["sample_aspect_ratio"].string_value(), "1:1");
  }
};

struct progress_numbers {
  long done = -1;
  long total = -1;
};

progress_numbers numbers_of(const std::string& line) {
  progress_numbers numbers;
  double fps = 0.0;
  double speed = 0.0;
  EXPECT_EQ(std::sscanf(line.c_str(), "Encoding: frame=%ld/%ld fps=%lf speed=%lf", &numbers.done,
                        &numbers.total, &fps, &speed),
            4)
      << line;
  return numbers;
}

}  // namespace

TEST(transcode, makes_high_profile_h264_and_stereo_aac) {
  const transcoded made(test_media("progressive.mp4"), "240");
  EXPECT_EQ(made.picture()["codec_name"].string_value(), "h264");
  EXPECT_EQ(made.picture()["profile"].string_value(), "High");
  EXPECT_EQ(made.picture()["pix_fmt"].string_value(), "yuv420p");
  EXPECT_EQ(made.sound()["codec_name"].string_value(), "aac");
  EXPECT_EQ(made.sound()["profile"].string_value(), "LC");
  EXPECT_EQ(made.sound()["channels"].int_value(), 2);
  EXPECT_EQ(made.report["streams"].array_items().size(), 2U);
}

TEST(transcode, keeps_length_and_frames) {
  const transcoded made(test_media("progressive.mp4"), "240");
  EXPECT_NEAR(made.duration(), 4.0, 0.1);
  EXPECT_EQ(made.frames(), 100);
  made.expect_picture(426, 240);
}

TEST(transcode, has_its_index_in_front) {
  EXPECT_TRUE(index_in_front(transcoded(test_media("progressive.mp4"), "240").path));
}

TEST(transcode, has_a_key_frame_every_two_seconds) {
  const transcoded made(test_media("progressive.mp4"), "240");
  EXPECT_THAT(key_frame_times(made.path), ElementsAre(0.0, 2.0));
}

TEST(transcode, deinterlaces_a_broadcast_recording) {
  const transcoded made(test_media("interlaced.ts"), "360");
  made.expect_picture(640, 360);
  EXPECT_EQ(made.picture()["field_order"].string_value(), "progressive");
  EXPECT_NEAR(made.frames(), 75, 1);
  EXPECT_NEAR(made.duration(), 3.0, 0.1);
  EXPECT_NEAR(number(made.report["format"]["start_time"]), 0.0, 0.05);
}

TEST(transcode, leaves_no_comb_of_two_fields) {
  const transcoded made(test_media("interlaced_small.ts"), "240");
  EXPECT_GT(combed_frames(test_media("interlaced_small.ts")), 50);
  EXPECT_LE(combed_frames(made.path), 10);
}

TEST(transcode, reports_progress_up_to_the_end) {
  const transcoded made(test_media("progressive.mp4"), "240");
  ASSERT_GE(made.result.output.size(), 2U);
  long before = 0;
  for (const std::string& line : made.result.output) {
    const progress_numbers now = numbers_of(line);
    EXPECT_EQ(now.total, 100);
    EXPECT_GE(now.done, before);
    EXPECT_LE(now.done, now.total);
    before = now.done;
  }
  EXPECT_EQ(before, 100);
}

TEST(transcode, makes_pixels_square) {
  transcoded(test_media("anamorphic_4_3.ts"), "240").expect_picture(320, 240);
  transcoded(test_media("anamorphic_16_9.ts"), "240").expect_picture(426, 240);
}

TEST(transcode, rotates_a_video_from_a_phone) {
  const transcoded made(test_media("rotated.mp4"), "320");
  made.expect_picture(180, 320);
  EXPECT_TRUE(made.picture()["side_data_list"].array_items().empty());
  EXPECT_GE(first_bright_time(made.path, "crop=iw:ih/2:0:0"), 0.0);
  EXPECT_LT(first_bright_time(made.path, "crop=iw:ih/2:0:ih/2"), 0.0);
}

TEST(transcode, keeps_film_rate) {
  const transcoded made(test_media("film_rate.mp4"), "180");
  EXPECT_EQ(made.picture()["r_frame_rate"].string_value(), "24000/1001");
  EXPECT_NEAR(made.frames(), 48, 1);
  EXPECT_EQ(key_frame_times(made.path).size(), 1U);
}

TEST(transcode, makes_a_variable_rate_constant) {
  const transcoded made(test_media("variable_rate.mp4"), "180");
  EXPECT_NEAR(made.duration(), 2.0, 0.15);
  EXPECT_EQ(made.picture()["r_frame_rate"].string_value(),
            made.picture()["avg_frame_rate"].string_value());
}

TEST(transcode, makes_odd_sides_even) {
  transcoded(test_media("odd_size.mkv"), "240").expect_picture(320, 240);
}

TEST(transcode, keeps_video_and_audio_in_step_when_the_clock_wraps_around) {
  const transcoded made(test_media("step.ts"), "240");
  const double bright = first_bright_time(made.path);
  const double loud = first_loud_time(made.path);
  EXPECT_NEAR(bright, 2.0, 0.15);
  EXPECT_NEAR(bright, loud, 0.05);
}

TEST(transcode, fills_the_beginning_of_a_late_video) {
  const transcoded made(test_media("late_picture.ts"), "240");
  EXPECT_NEAR(number(made.picture()["start_time"]), 0.0, 0.05);
  EXPECT_NEAR(made.frames(), 75, 1);
}

TEST(transcode, fills_the_beginning_of_late_audio) {
  const transcoded made(test_media("late_sound.ts"), "240");
  EXPECT_NEAR(number(made.sound()["start_time"]), 0.0, 0.05);
  EXPECT_NEAR(first_loud_time(made.path), 0.6, 0.1);
}

TEST(transcode, maps_high_dynamic_range) {
  const transcoded made(test_media("hdr.mkv"), "72");
  EXPECT_EQ(made.picture()["pix_fmt"].string_value(), "yuv420p");
  EXPECT_EQ(made.picture()["color_transfer"].string_value(), "bt709");
}

TEST(transcode, video_without_audio_works) {
  const transcoded made(test_media("silent.mp4"), "180");
  EXPECT_EQ(made.frames(), 50);
  EXPECT_TRUE(made.sound().is_null());
}

TEST(transcode, audio_without_video_works) {
  for (const char* name : {"tone.mp3", "tone.wav", "covered.mp3", "surround.m4a"}) {
    const transcoded made(test_media(name), "audio");
    EXPECT_TRUE(made.picture().is_null()) << name;
    EXPECT_EQ(made.sound()["channels"].int_value(), 2) << name;
  }
}

TEST(transcode, audio_that_ends_before_the_video_is_complete) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mp4",
                 "-f lavfi -i testsrc2=size=320x180:rate=25:duration=6 -f lavfi -i sine=duration=3 "
                 "-c:v libx264 -preset ultrafast -c:a aac");
  const transcoded made(film, "audio");
  EXPECT_NEAR(made.duration(), 3.0, 0.1);
  EXPECT_EQ(numbers_of(made.result.output.back()).total, 75);
}

TEST(transcode, sound_counts_frames_of_40_ms) {
  const transcoded made(test_media("tone.wav"), "audio");
  EXPECT_EQ(numbers_of(made.result.output.back()).total, 75);
  EXPECT_EQ(numbers_of(made.result.output.back()).done, 75);
}

TEST(transcode, a_bare_stream_is_measured) {
  const transcoded made(test_media("raw.h264"), "180");
  EXPECT_EQ(made.frames(), 50);
}

TEST(transcode, damaged_packets_are_tolerated) {
  const transcoded made(test_media("damaged.ts"), "240");
  EXPECT_NEAR(made.duration(), 3.0, 0.2);
}

TEST(transcode, a_truncated_recording_is_transcoded_as_far_as_it_goes) {
  const transcoded made(test_media("truncated.ts"), "240");
  EXPECT_NEAR(made.duration(), 1.8, 0.5);
}

TEST(transcode, takes_the_sound_of_the_video_s_own_program) {
  const transcoded made(test_media("two_programs.ts"), "240");
  made.expect_picture(320, 240);
  EXPECT_GE(first_loud_time(made.path, "highpass=f=2000"), 0.0);
}

TEST(transcode, accepts_any_file_name) {
  const scratch_folder folder;
  for (const char* name : {"-x.mp4", "a film.mp4", "it's \"so\".mp4", "100%d%s.mp4", "[a]{b}*.mp4",
                           "film\n2.mp4", "\xc3\xbc\xe2\x82\xac.mp4", "http:x.mp4"}) {
    std::filesystem::copy_file(test_media("silent.mp4"), folder.file(name));
    const std::string made = std::string("made ") + name;
    const tool_result result =
        run_tool("qxmi_vod_transcode",
                 {"--profile", "180", "-o", made, std::string("--file=") + name}, folder.path());
    EXPECT_EQ(result.end.status, 0) << name;
    EXPECT_FALSE(inspect(folder.file(made)).is_null()) << name;
  }
}

TEST(transcode, accepts_an_output_name_that_begins_with_a_dash) {
  const scratch_folder folder;
  std::filesystem::copy_file(test_media("silent.mp4"), folder.file("-a.mp4"));
  const tool_result result =
      run_tool("qxmi_vod_transcode", {"--profile", "180", "-o", "-b.mp4", "--file", "-a.mp4"},
               folder.path());
  EXPECT_EQ(result.end.status, 0);
  EXPECT_THAT(folder.names(), ElementsAre("-a.mp4", "-b.mp4"));
}

TEST(transcode, replaces_an_older_result) {
  const scratch_folder folder;
  std::filesystem::copy_file(test_media("text.mp4"), folder.file("out.mp4"));
  const tool_result result =
      run_tool("qxmi_vod_transcode", {"--profile", "180", "-o", folder.file("out.mp4"), "--file",
                                      test_media("silent.mp4")});
  EXPECT_EQ(result.end.status, 0);
  EXPECT_FALSE(stream_of(inspect(folder.file("out.mp4")), "video").is_null());
}
