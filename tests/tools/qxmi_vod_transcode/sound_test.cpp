// Transcodes of the sound of real recordings: in step, at the right level, complete.
#include <gtest/gtest.h>

#include "tests/support/media/made_recording.h"
#include "tests/support/media/media_check.h"

using namespace qx_test;

namespace {

constexpr const char* tone = "sin(6283*t)";

// Sound alone in one file, with one such expression for each channel.
std::string sound_file(const scratch_folder& folder, const std::string& name,
                       const std::string& channels, const std::string& arguments) {
  return make_media(folder, name, "-f lavfi -i aevalsrc=" + channels + ":s=48000:d=2 " + arguments);
}

}  // namespace

TEST(transcode_sound, stays_in_step_when_six_channels_follow_two) {
  const scratch_folder folder;
  const std::string six = "-af pan=5.1|FL=c0|FR=c0|FC=c0 -c:a ac3";
  const std::string film =
      joined(folder, "film.ts",
             {recorded(folder, "1.ts", 100, "-ac 2 -c:a ac3"), recorded(folder, "2.ts", 103, six),
              recorded(folder, "3.ts", 106, "-ac 2 -c:a ac3")});
  const std::string made = transcoded_film(folder, film);
  expect_moments(bright_times(made), {1, 4, 7});
  expect_moments(loud_times(made), {1, 4, 7});
}

TEST(transcode_sound, stays_in_step_when_two_channels_follow_one) {
  const scratch_folder folder;
  const std::string film = joined(folder, "film.ts",
                                  {recorded(folder, "1.ts", 100, "-ac 1 -c:a mp2"),
                                   recorded(folder, "2.ts", 103, "-ac 2 -c:a mp2")});
  const std::string made = transcoded_film(folder, film);
  expect_moments(bright_times(made), {1, 4});
  expect_moments(loud_times(made), {1, 4});
}

TEST(transcode_sound, that_begins_after_the_usual_probe_is_taken) {
  const scratch_folder folder;
  for (const char* name : {"late.ts", "late.mkv"}) {
    const std::string film = make_media(
        folder, name, flashing(14) + "-itsoffset 12 " + beeping(2) + "-c:v mpeg2video -c:a ac3");
    const std::string made = transcoded_film(folder, film);
    expect_moments(loud_times(made), {13});
    EXPECT_NEAR(number(stream_of(inspect(made), "audio")["start_time"]), 0.0, 0.05);
  }
}

TEST(transcode_sound, that_pauses_for_long_continues_in_step) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.ts",
                 flashing(18) + beeping(18, "eq(floor(t),1)+eq(floor(t),16)") +
                     "-af aselect=lt(t\\,2)+gt(t\\,15) -c:v mpeg2video -c:a mp2");
  const std::string made = transcoded_film(folder, film);
  expect_moments(loud_times(made), {1, 16});
}

TEST(transcode_sound, takes_two_mono_tracks_as_left_and_right) {
  const scratch_folder folder;
  const std::string film = make_media(folder, "film.mxf",
                                      flashing(3) + beeping(3) + beeping(3, "eq(floor(t),2)") +
                                          "-map 0 -map 1 -map 2 -c:v mpeg2video -c:a pcm_s16le");
  const std::string made = transcoded_film(folder, film);
  expect_moments(loud_times(made, "pan=mono|c0=c0"), {1});
  expect_moments(loud_times(made, "pan=mono|c0=c1"), {2});
}

TEST(transcode_sound, takes_the_first_two_of_four_mono_tracks) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mxf",
                 flashing(3) + beeping(3) + beeping(3, "eq(floor(t),2)") +
                     beeping(3, "eq(floor(t),0)") + beeping(3, "eq(floor(t),0)") +
                     "-map 0 -map 1 -map 2 -map 3 -map 4 -c:v mpeg2video -c:a pcm_s16le");
  const std::string made = transcoded_film(folder, film);
  expect_moments(loud_times(made, "pan=mono|c0=c0"), {1});
  expect_moments(loud_times(made, "pan=mono|c0=c1"), {2});
}

TEST(transcode_sound, does_not_join_mono_tracks_of_two_languages) {
  const scratch_folder folder;
  const std::string film = make_media(folder, "film.mov",
                                      flashing(3) + beeping(3) + beeping(3, "eq(floor(t),2)") +
                                          "-map 0 -map 1 -map 2 -metadata:s:a:0 language=eng "
                                          "-metadata:s:a:1 language=deu -c:v mpeg4 -c:a pcm_s16le");
  expect_moments(loud_times(transcoded_film(folder, film), "pan=mono|c0=c1"), {1});
}

TEST(transcode_sound, mono_is_as_loud_on_both_sides) {
  const scratch_folder folder;
  const std::string source =
      sound_file(folder, "mono.wav", std::string("0.25*") + tone, "-c:a pcm_s16le");
  const std::string made = transcoded_sound(folder, source);
  EXPECT_NEAR(loudness(made, "pan=mono|c0=c0"), loudness(source), 0.3);
  EXPECT_NEAR(loudness(made, "pan=mono|c0=c1"), loudness(source), 0.3);
}

TEST(transcode_sound, speech_of_six_channels_is_3_db_down_on_either_side) {
  const scratch_folder folder;
  const std::string source = sound_file(
      folder, "six.wav", std::string("0|0|0.25*") + tone + "|0|0|0:c=5.1", "-c:a pcm_s16le");
  const std::string made = transcoded_sound(folder, source);
  const double speech = loudness(source, "pan=mono|c0=c2");
  EXPECT_NEAR(loudness(made, "pan=mono|c0=c0"), speech - 3.0, 0.3);
  EXPECT_NEAR(loudness(made, "pan=mono|c0=c1"), speech - 3.0, 0.3);
}

TEST(transcode_sound, six_full_channels_do_not_clip) {
  const scratch_folder folder;
  const std::string full = std::string("|") + tone;
  const std::string source = sound_file(
      folder, "six.ac3", tone + full + full + "|0" + full + full + ":c=5.1", "-c:a ac3 -b:a 640k");
  // Peaks above full scale come from the encoder.
  EXPECT_LT(peak_level(transcoded_sound(folder, source)), 0.6);
}

TEST(transcode_sound, takes_the_first_two_of_ten_channels) {
  const scratch_folder folder;
  const std::string source = sound_file(
      folder, "ten.wav", std::string("0.1*") + tone + "|0.2*" + tone + "|0|0|0|0|0|0|0|0",
      "-c:a pcm_s16le");
  const std::string made = transcoded_sound(folder, source);
  EXPECT_NEAR(loudness(made, "pan=mono|c0=c0"), loudness(source, "pan=mono|c0=c0"), 0.3);
  EXPECT_NEAR(loudness(made, "pan=mono|c0=c1"), loudness(source, "pan=mono|c0=c1"), 0.3);
}
