// Transcodes of video that changes in mid-recording, in fields, shape or size, and of its colours.
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"
#include "tests/support/media/test_media.h"

using namespace qx_test;

namespace {

constexpr const char* quick_h264 = "-c:v libx264 -preset ultrafast -crf 5 -pix_fmt yuv420p ";

// Transcodes and returns the result's path, in `folder`.
std::string transcoded(const scratch_folder& folder, const std::string& source,
                       const std::string& profile) {
  const std::string made = folder.file("made" + profile + ".mp4");
  const tool_result result =
      run_tool("qxmi_vod_transcode", {"--profile", profile, "-o", made, "--file", source});
  EXPECT_EQ(result.end.status, 0) << (result.errors.empty() ? source : result.errors[0]);
  return made;
}

int frames_of(const std::string& path) {
  return static_cast<int>(number(stream_of(inspect(path), "video")["nb_read_frames"]));
}

// A bar that moves over grey, 25 pictures a second of two fields each, `first` field first.
std::string moving_fields(const std::string& first) {
  return "-f lavfi -i color=gray:size=320x240:rate=50,drawbox=w=40:h=240:c=white:t=fill,"
         "scroll=h=0.02,tinterlace=interleave_" +
         first + " ";
}

// The brightness of a part of the picture at `moment`, such as "iw:20:0:0" for its upper lines.
int brightness_of(const scratch_folder& folder, const std::string& film, const std::string& moment,
                  const std::string& part) {
  return brightness(make_media(folder, "part.jpg",
                               "-ss " + moment + " -i " + film + " -frames:v 1 -vf crop=" + part +
                                   " -f image2 -update 1 "));
}

// A second of white broadcast at `start` on the recording's clock; `size` such as "720x576".
std::string white_part(const scratch_folder& folder, const std::string& size,
                       const std::string& pixels, const std::string& start) {
  return make_media(folder, "part" + start + ".ts",
                    "-f lavfi -i color=white:size=" + size + ":rate=25,setsar=" + pixels +
                        " -t 1 -output_ts_offset " + start + " " + quick_h264 + "-f mpegts");
}

}  // namespace

TEST(transcode_fields, in_the_middle_of_a_progressive_recording_leave_no_comb) {
  const scratch_folder folder;
  const std::string calm = make_media(folder, "calm.ts",
                                      "-f lavfi -i color=gray:size=320x240:rate=25 -t 12 "
                                      "-c:v mpeg2video -q:v 3 -f mpegts");
  const std::string moving =
      make_media(folder, "moving.ts",
                 moving_fields("top") + "-t 2 -output_ts_offset 12 -flags +ildct+ilme -top 1 "
                                        "-c:v mpeg2video -q:v 3 -f mpegts");
  const std::string whole = join_media(folder, "whole.ts", {calm, moving});
  ASSERT_GT(combed_frames(whole), 30);
  EXPECT_EQ(combed_frames(transcoded(folder, whole, "240")), 0);
}

TEST(transcode_fields, are_in_the_order_that_the_container_declares) {
  const scratch_folder folder;
  for (const char* first : {"top", "bottom"}) {
    const std::string order = *first == 't' ? "tt" : "bb";
    const std::string film = make_media(
        folder, "film.mov", moving_fields(first) + "-t 1 -c:v mjpeg -q:v 2 -field_order " + order);
    ASSERT_GT(combed_frames(film), 20) << order;
    EXPECT_EQ(combed_frames(transcoded(folder, film, "240")), 0) << order;
  }
}

TEST(transcode_shape, is_kept_with_bars_where_pixels_turn_wide) {
  const scratch_folder folder;
  const std::string whole = join_media(
      folder, "whole.ts",
      {white_part(folder, "720x576", "16/15", "10"), white_part(folder, "720x576", "64/45", "11")});
  const std::string made = transcoded(folder, whole, "480");
  EXPECT_GT(brightness_of(folder, made, "0.5", "iw:40:0:0"), 200);
  EXPECT_LT(brightness_of(folder, made, "1.5", "iw:40:0:0"), 40);
  EXPECT_GT(brightness_of(folder, made, "1.5", "40:200:0:140"), 200);
  EXPECT_EQ(frames_of(made), 50);
}

TEST(transcode_shape, is_kept_with_bars_where_the_size_changes_and_changes_back) {
  const scratch_folder folder;
  const std::string whole = join_media(folder, "whole.ts",
                                       {white_part(folder, "720x576", "16/15", "10"),
                                        white_part(folder, "1280x720", "1", "11"),
                                        white_part(folder, "720x576", "16/15", "12")});
  const std::string made = transcoded(folder, whole, "480");
  EXPECT_LT(brightness_of(folder, made, "1.5", "iw:40:0:0"), 40);
  EXPECT_GT(brightness_of(folder, made, "1.5", "40:200:0:140"), 200);
  EXPECT_GT(brightness_of(folder, made, "2.5", "iw:40:0:0"), 200);
  EXPECT_EQ(frames_of(made), 75);
}

TEST(transcode_colours, of_high_definition_without_tags_are_right_at_every_size) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mp4",
                 colour_bars("1280x720") + "-t 0.2 -vf scale=out_color_matrix=bt709:out_range=tv " +
                     quick_h264);
  for (const char* profile : {"720", "480", "240"}) {
    EXPECT_LE(bars_error(transcoded(folder, film, profile)), 2) << profile;
  }
}

TEST(transcode_colours, of_standard_definition_without_tags_are_right) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.ts",
                 colour_bars("720x576") + "-t 0.2 -vf scale=out_color_matrix=bt601:out_range=tv "
                                          "-c:v mpeg2video -q:v 2 -f mpegts");
  EXPECT_LE(bars_error(transcoded(folder, film, "480")), 2);
}

// The size changes after 1.2 s; the examined part begins with a later key frame.
TEST(transcode_colours, of_high_definition_after_standard_definition_are_right) {
  const scratch_folder folder;
  const auto piece = [&](const std::string& name, const std::string& size, const char* matrix) {
    return make_media(folder, name,
                      colour_bars(size) + "-t 1.2 -r 25 -vf scale=out_range=tv:out_color_matrix=" +
                          matrix + " -c:v mpeg2video -q:v 2 -f mpegts");
  };
  const std::string sd = piece("sd.ts", "1024x576", "bt601");
  const std::string hd = piece("hd.ts", "1280x720", "bt709");
  for (const auto& parts : {std::vector{sd, hd}, std::vector{hd, sd}}) {
    const std::string made = transcoded(folder, join_media(folder, "film.ts", parts), "480");
    EXPECT_LE(bars_error(made), 2);
    EXPECT_LE(bars_error(make_media(folder, "end.mp4", "-ss 2 -i " + made + " -c copy")), 2);
  }
}

TEST(transcode_colours, of_rgb_are_right_at_every_size) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mov", colour_bars("1280x720") + "-t 0.2 -c:v png -pix_fmt rgb24");
  for (const char* profile : {"720", "480"}) {
    EXPECT_LE(bars_error(transcoded(folder, film, profile)), 2) << profile;
  }
}

TEST(transcode_colours, of_a_full_range_are_right) {
  const scratch_folder folder;
  const std::string film = make_media(
      folder, "film.mp4",
      colour_bars("1280x720") + "-t 0.2 -vf zscale=m=709:r=full,format=yuvj420p -c:v libx264 "
                                "-preset ultrafast -crf 5 -colorspace bt709");
  EXPECT_LE(bars_error(transcoded(folder, film, "480")), 2);
}

// One step of an 8-bit picture near black becomes several steps in the result.
TEST(transcode_colours, of_a_wide_gamut_are_mapped) {
  const scratch_folder folder;
  const std::string film = make_media(
      folder, "film.mkv",
      colour_bars("1280x720") +
          "-t 0.2 -vf zscale=tin=709:pin=709:m=2020_ncl:p=2020:t=709:r=tv,format=yuv422p10 "
          "-c:v ffv1 -colorspace bt2020nc -color_primaries bt2020 -color_trc bt709");
  EXPECT_LE(bars_error(transcoded(folder, film, "480")), 6);
}

TEST(transcode_colours, are_always_named) {
  const scratch_folder folder;
  const json11::Json made =
      stream_of(inspect(transcoded(folder, test_media("silent.mp4"), "180")), "video");
  EXPECT_EQ(made["color_space"].string_value(), "smpte170m");
  EXPECT_EQ(made["color_primaries"].string_value(), "bt709");
  EXPECT_EQ(made["color_transfer"].string_value(), "bt709");
  EXPECT_EQ(made["color_range"].string_value(), "tv");
}

TEST(transcode_picture, of_two_by_two_pixels_works) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mkv", "-f lavfi -i color=white:size=2x2:rate=25 -t 1 -c:v ffv1");
  EXPECT_EQ(frames_of(transcoded(folder, film, "2")), 25);
}
