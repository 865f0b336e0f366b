// The entries written about a file.
#include <map>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/media/item_entries.h"

using testing::IsEmpty;

namespace {

struct stat status_of(off_t size) {
  struct stat status = {};
  status.st_size = size;
  status.st_mtim.tv_sec = 1700000000;
  return status;
}

std::map<std::string, std::string> entries(const std::string& type, const media_info& media) {
  std::map<std::string, std::string> result;
  for (const item_entry& entry : item_entries(type, media, status_of(1000))) {
    result[entry.name] = entry.value;
  }
  return result;
}

media_info film() {
  video_stream picture;
  picture.codec = "h264";
  picture.displayed = {1024, 576};
  picture.frame_rate = {30000, 1001};
  audio_stream sound;
  sound.codec = "aac";
  sound.channels = 6;
  media_info media;
  media.duration = 12.3456;
  media.bit_rate = 5000;
  media.video.push_back(picture);
  media.audio.push_back(sound);
  return media;
}

}  // namespace

TEST(item_entries, describe_a_video) {
  std::map<std::string, std::string> told = entries("video/mp4", film());
  EXPECT_EQ(told["file type"], "video/mp4");
  EXPECT_EQ(told["duration"], "12.346");
  EXPECT_EQ(told["width"], "1024");
  EXPECT_EQ(told["height"], "576");
  EXPECT_EQ(told["frame rate"], "29.970");
  EXPECT_EQ(told["interlaced"], "0");
  EXPECT_EQ(told["video codec"], "h264");
  EXPECT_EQ(told["audio codec"], "aac");
  EXPECT_EQ(told["audio channels"], "6");
  EXPECT_EQ(told["bit rate"], "5000");
  EXPECT_EQ(told["size"], "1000");
  EXPECT_EQ(told["modified"], "1700000000");
}

TEST(item_entries, a_missing_bit_rate_is_computed_from_size_and_duration) {
  media_info media = film();
  media.bit_rate = 0;
  media.duration = 4.0;
  EXPECT_EQ(entries("video/mp4", media)["bit rate"], "2000");
}

TEST(item_entries, a_still_has_no_duration) {
  media_info media = film();
  media.audio.clear();
  std::map<std::string, std::string> told = entries("image/avif", media);
  EXPECT_EQ(told["width"], "1024");
  for (const char* name : {"duration", "frame rate", "interlaced", "video codec", "bit rate"}) {
    EXPECT_THAT(told[name], IsEmpty()) << name;
  }
}

TEST(item_entries, a_file_that_is_not_media_has_only_size_and_time) {
  for (const auto& [name, value] : entries("text/plain", media_info())) {
    const bool always = name == "file type" || name == "size" || name == "modified";
    EXPECT_EQ(value.empty(), !always) << name;
  }
}
