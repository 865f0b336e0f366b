// The listing of what can be made of a source.
#include <gtest/gtest.h>

#include "tools/qxmi_vod_transcode/quote.h"

namespace {

source_media film() {
  source_media media;
  media.picture.emplace();
  media.picture->codec = "mpeg2video";
  media.picture->displayed = {768, 576};
  media.picture->frame_rate = {25, 1};
  media.picture->interlaced = true;
  media.sound.emplace();
  media.sound->codec = "mp2";
  media.sound->channels = 2;
  media.duration = 61.4;
  return media;
}

}  // namespace

TEST(quote_text, describes_the_source_and_lists_profiles) {
  EXPECT_EQ(quote_text(film(), 0),
            "*SOURCE\n"
            "video 768x576 25.000 fps interlaced mpeg2video, audio 2ch mp2, 61.40 s\n"
            "*QUOTE\n"
            ".. 576\n"
            ".. 480\n"
            ".. 360\n"
            ".. 240\n");
}

TEST(quote_text, sound_alone_has_one_profile) {
  source_media media = film();
  media.picture.reset();
  EXPECT_EQ(quote_text(media, 240), "*SOURCE\naudio 2ch mp2, 61.40 s\n*QUOTE\n.. audio\n");
}

TEST(quote_text, picture_alone_is_listed_by_height) {
  source_media media = film();
  media.sound.reset();
  media.picture->interlaced = false;
  EXPECT_EQ(quote_text(media, 360),
            "*SOURCE\nvideo 768x576 25.000 fps progressive mpeg2video, 61.40 s\n*QUOTE\n"
            ".. 360\n.. 240\n");
}
