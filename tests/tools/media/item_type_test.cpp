// The MIME type by container, streams and the first bytes.
#include <gtest/gtest.h>

#include "tools/media/item_type.h"

namespace {

enum class holds { picture, sound, sound_with_cover };

media_info media_in(const std::string& container, holds content) {
  media_info media;
  media.container = container;
  video_stream picture;
  picture.cover = content == holds::sound_with_cover;
  if (content != holds::sound) { media.video.push_back(picture); }
  if (content != holds::picture) { media.audio.emplace_back(); }
  return media;
}

std::string type_of(const std::string& container, holds content, std::string_view head = "",
                    const std::string& magic = "application/octet-stream") {
  return item_type(media_in(container, content), head, magic);
}

constexpr const char* mov = "mov,mp4,m4a,3gp,3g2,mj2";
constexpr const char* matroska = "matroska,webm";

}  // namespace

TEST(item_type, of_a_video_is_that_of_its_container) {
  EXPECT_EQ(type_of("mpegts", holds::picture), "video/mp2t");
  EXPECT_EQ(type_of("mpeg", holds::picture), "video/mpeg");
  EXPECT_EQ(type_of("mxf", holds::picture), "video/mxf");
  EXPECT_EQ(type_of("avi", holds::picture), "video/x-msvideo");
}

TEST(item_type, of_sound_is_that_of_its_container) {
  EXPECT_EQ(type_of("mp3", holds::sound), "audio/mpeg");
  EXPECT_EQ(type_of("wav", holds::sound), "audio/x-wav");
  EXPECT_EQ(type_of("flac", holds::sound), "audio/flac");
  EXPECT_EQ(type_of("mpegts", holds::sound), "audio/mp2t");
}

TEST(item_type, a_cover_does_not_make_a_video) {
  EXPECT_EQ(type_of("mp3", holds::sound_with_cover), "audio/mpeg");
  EXPECT_EQ(type_of(mov, holds::sound_with_cover, "    ftypM4A "), "audio/mp4");
}

TEST(item_type, follows_the_brand) {
  const auto of_brand = [](const std::string& brand) {
    return type_of(mov, holds::picture, std::string(4, ' ') + "ftyp" + brand);
  };
  EXPECT_EQ(of_brand("isom"), "video/mp4");
  EXPECT_EQ(of_brand("qt  "), "video/quicktime");
  EXPECT_EQ(of_brand("3gp6"), "video/3gpp");
  EXPECT_EQ(of_brand("3g2a"), "video/3gpp2");
}

TEST(item_type, a_video_without_a_brand_is_quicktime) {
  EXPECT_EQ(type_of(mov, holds::picture, "    wide    mdat"), "video/quicktime");
  EXPECT_EQ(type_of(mov, holds::picture, ""), "video/quicktime");
}

TEST(item_type, follows_the_document_type) {
  const std::string webm = "\x1a\x45\xdf\xa3\x9f\x42\x86\x81\x01\x42\x82\x84webm";
  EXPECT_EQ(type_of(matroska, holds::picture, webm), "video/webm");
  EXPECT_EQ(type_of(matroska, holds::sound, webm), "audio/webm");
  EXPECT_EQ(type_of(matroska, holds::picture, "\x1a\x45\xdf\xa3 webm"), "video/x-matroska");
}

TEST(item_type, a_picture_in_a_video_container_is_not_a_video) {
  EXPECT_EQ(type_of(mov, holds::picture, "    ftypavif", "image/avif"), "image/avif");
  EXPECT_EQ(type_of("mpegts", holds::picture, "", "image/x-tga"), "video/mp2t");
}

TEST(item_type, of_a_still_is_libmagic_s) {
  media_info media = media_in("png_pipe", holds::picture);
  media.still = true;
  EXPECT_EQ(item_type(media, "", "image/png"), "image/png");
}

TEST(item_type, of_a_file_that_is_not_media_is_libmagic_s) {
  EXPECT_EQ(item_type(media_info(), "", "text/plain"), "text/plain");
}

TEST(item_type, an_unforeseen_container_still_counts_as_media) {
  EXPECT_EQ(type_of("new", holds::picture), "video/x-unknown");
  EXPECT_EQ(type_of("new", holds::sound), "audio/x-unknown");
}
