// Which streams of a file are worth taking.
#include <gtest/gtest.h>

#include "tools/media/media_info.h"

namespace {

video_stream video(int index, int width, int height, std::vector<int> programs = {}) {
  video_stream stream;
  stream.index = index;
  stream.displayed = {width, height};
  stream.programs = std::move(programs);
  return stream;
}

audio_stream audio(int index, std::vector<int> programs = {}) {
  audio_stream stream;
  stream.index = index;
  stream.programs = std::move(programs);
  return stream;
}

}  // namespace

TEST(media_info, takes_the_largest_video) {
  media_info info;
  info.video = {video(0, 320, 240), video(1, 1920, 1080), video(2, 640, 480)};
  EXPECT_EQ(info.picture()->index, 1);
}

TEST(media_info, takes_the_first_of_equally_large_videos) {
  media_info info;
  info.video = {video(3, 320, 240), video(4, 320, 240)};
  EXPECT_EQ(info.picture()->index, 3);
}

TEST(media_info, a_cover_is_not_a_video) {
  media_info info;
  info.video = {video(0, 3000, 3000)};
  info.video[0].cover = true;
  EXPECT_EQ(info.picture(), nullptr);
  EXPECT_EQ(info.cover()->index, 0);
}

TEST(media_info, takes_the_sound_of_the_video_s_program) {
  media_info info;
  info.video = {video(0, 1920, 1080, {2})};
  info.audio = {audio(1, {1}), audio(2, {1, 2})};
  EXPECT_EQ(info.sound()->index, 2);
}

TEST(media_info, takes_the_main_sound_before_a_commentary) {
  media_info info;
  info.audio = {audio(1), audio(2)};
  info.audio[0].secondary = true;
  EXPECT_EQ(info.sound()->index, 2);
}

TEST(media_info, takes_the_sound_marked_as_default) {
  media_info info;
  info.audio = {audio(1), audio(2)};
  info.audio[1].preferred = true;
  EXPECT_EQ(info.sound()->index, 2);
}

TEST(media_info, finds_neither_in_an_empty_file) {
  const media_info info;
  EXPECT_EQ(info.picture(), nullptr);
  EXPECT_EQ(info.sound(), nullptr);
  EXPECT_EQ(info.cover(), nullptr);
}
