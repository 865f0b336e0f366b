// Transcodes of recordings with an odd clock or frame rate.
#include <gtest/gtest.h>

#include "tests/support/media/made_recording.h"
#include "tests/support/media/media_check.h"

using namespace qx_test;
using json11::Json;

namespace {

// Two recordings spliced, the second with a clock that begins at `second`; flashes and beeps in
// seconds 1 and 4 of the whole.
void expect_continuous(int first, int second) {
  const scratch_folder folder;
  const std::string film = joined(
      folder, "film.ts", {recorded(folder, "1.ts", first), recorded(folder, "2.ts", second)});
  const std::string made = transcoded_film(folder, film);
  expect_moments(bright_times(made), {1, 4});
  expect_moments(loud_times(made), {1, 4});
  EXPECT_NEAR(number(inspect(made)["format"]["duration"]), 6.0, 0.1);
}

// Expects the film to flash at `seconds`, with a beep at every flash, and nothing else.
void expect_in_step(const std::string& made, const std::vector<double>& seconds) {
  expect_moments(bright_times(made), seconds);
  expect_moments(loud_times(made), bright_times(made));
}

// The video of the transcode of a 2 s video.
Json picture_made_of(const scratch_folder& folder, const std::string& film) {
  return stream_of(inspect(transcoded_film(folder, film)), "video");
}

}  // namespace

TEST(transcode_time, a_clock_that_jumps_forward_is_closed_up) {
  expect_continuous(100, 5000);
}

TEST(transcode_time, a_clock_that_jumps_far_back_is_closed_up) {
  expect_continuous(5000, 100);
}

TEST(transcode_time, a_clock_that_jumps_back_a_little_is_closed_up) {
  expect_continuous(100, 101);
}

TEST(transcode_time, a_clock_that_starts_again_at_zero_is_closed_up) {
  expect_continuous(5000, 0);
}

TEST(transcode_time, a_clock_that_wraps_around_is_followed) {
  expect_continuous(95437, 95440);
}

TEST(transcode_time, a_splice_whose_sound_overlaps_stays_in_step) {
  for (const char* rate : {"48000", "96000"}) {
    const scratch_folder folder;
    const std::string sound = std::string("-c:a aac -af apad=pad_dur=0.02 -ar ") + rate;
    const std::string made = transcoded_film(
        folder,
        joined(folder, "film.ts",
               {recorded(folder, "1.ts", 100, sound), recorded(folder, "2.ts", 103, sound)}));
    expect_in_step(made, {1, 4});
    EXPECT_NEAR(number(stream_of(inspect(made), "audio")["duration"]), 6.0, 0.1) << rate;
  }
}

TEST(transcode_time, a_pause_of_the_clock_is_kept) {
  const scratch_folder folder;
  const std::string made = transcoded_film(
      folder,
      joined(folder, "film.ts", {recorded(folder, "1.ts", 100), recorded(folder, "2.ts", 108)}));
  expect_in_step(made, {1, 9});
}

TEST(transcode_time, the_length_of_a_spliced_recording_is_known) {
  const scratch_folder folder;
  const std::string film =
      joined(folder, "film.ts", {recorded(folder, "1.ts", 5000), recorded(folder, "2.ts", 0)});
  const tool_result result = run_tool("qxmi_vod_transcode", {"--quote", "--file", film});
  ASSERT_GE(result.output.size(), 2U);
  EXPECT_NE(result.output[1].find(" 6.0"), std::string::npos) << result.output[1];
}

TEST(transcode_time, streams_that_move_to_other_packet_identifiers_are_followed) {
  const scratch_folder folder;
  for (const int second : {103, 500}) {
    const std::string film =
        joined(folder, "film.ts", {recorded(folder, "1.ts", 100), moved(folder, "2.ts", second)});
    expect_in_step(transcoded_film(folder, film), {1, 4});
  }
}

TEST(transcode_time, a_recording_that_continues_in_another_program_is_refused) {
  const scratch_folder folder;
  const std::string film =
      joined(folder, "film.ts",
             {recorded(folder, "1.ts", 100),
              moved(folder, "2.ts", 500, "-mpegts_service_id 7 -mpegts_pmt_start_pid 4352")});
  const tool_result result = run_tool(
      "qxmi_vod_transcode", {"--profile", "120", "-o", folder.file("o.mp4"), "--file", film});
  EXPECT_EQ(result.end.status, 1);
  ASSERT_EQ(result.errors.size(), 1U);
  EXPECT_NE(result.errors[0].find("continues in other streams"), std::string::npos)
      << result.errors[0];
}

TEST(transcode_time, video_that_ends_before_the_audio_is_complete) {
  const scratch_folder folder;
  for (const char* name : {"film.mkv", "film.ts", "film.mp4"}) {
    const std::string film =
        make_media(folder, name, flashing(3) + beeping(8) + "-c:v libx264 -c:a ac3");
    const Json report = inspect(transcoded_film(folder, film));
    EXPECT_NEAR(number(stream_of(report, "video")["duration"]), 3.0, 0.1) << name;
    EXPECT_NEAR(number(stream_of(report, "audio")["duration"]), 8.0, 0.1) << name;
  }
}

TEST(transcode_time, audio_that_ends_before_the_video_is_complete) {
  const scratch_folder folder;
  for (const char* name : {"film.mkv", "film.ts", "film.mp4"}) {
    const std::string film =
        make_media(folder, name, flashing(8) + beeping(3) + "-c:v libx264 -c:a ac3");
    const Json report = inspect(transcoded_film(folder, film));
    EXPECT_NEAR(number(stream_of(report, "video")["duration"]), 8.0, 0.1) << name;
    EXPECT_NEAR(number(stream_of(report, "audio")["duration"]), 3.0, 0.1) << name;
  }
}

TEST(transcode_time, a_variable_rate_has_the_rate_the_camera_was_set_to) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mp4",
                 "-f lavfi -i testsrc2=size=160x120:rate=30:duration=2 "
                 "-vf select=not(eq(mod(n\\,4)\\,3)) -vsync vfr -c:v libx264 -preset ultrafast");
  EXPECT_EQ(picture_made_of(folder, film)["r_frame_rate"].string_value(), "30/1");
}

TEST(transcode_time, a_hundred_frames_a_second_become_fifty) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mp4",
                 "-f lavfi -i testsrc2=size=160x120:rate=100:duration=2 -c:v libx264 "
                 "-preset ultrafast");
  const Json picture = picture_made_of(folder, film);
  EXPECT_EQ(picture["r_frame_rate"].string_value(), "50/1");
  EXPECT_EQ(number(picture["nb_read_frames"]), 100);
}

TEST(transcode_time, the_delay_of_a_sound_encoder_doubles_no_frame) {
  const scratch_folder folder;
  for (const char* name : {"film.mkv", "film.avi"}) {
    const std::string film =
        make_media(folder, name, flashing(3) + beeping(3) + "-c:v libx264 -bf 0 -c:a aac");
    const std::string made = transcoded_film(folder, film);
    EXPECT_EQ(number(stream_of(inspect(made), "video")["nb_read_frames"]), 75) << name;
    expect_moments(bright_times(made), {1});
    expect_moments(loud_times(made), {1});
  }
}
