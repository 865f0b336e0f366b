// How the tool identifies real files.
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/test_media.h"
#include "tests/tools/qxmi_startitem/run.h"

using namespace qx_test;
using testing::AllOf;
using testing::Contains;
using testing::Key;
using testing::Not;
using testing::Pair;

namespace {

struct kind {
  const char* name;       // of the file to make
  const char* arguments;  // for the engine
  const char* type;
};

#define QX_FILM "-f lavfi -i testsrc2=size=64x64:rate=25 -t 0.4 "
#define QX_TONE "-f lavfi -i sine=sample_rate=48000 -t 0.4 "

constexpr kind film_kinds[] = {
    {"a.mp4", QX_FILM "-c:v mpeg4", "video/mp4"},
    {"a.mov", QX_FILM "-c:v mpeg4", "video/quicktime"},
    {"a.3gp", QX_FILM "-c:v mpeg4", "video/3gpp"},
    {"a.mkv", QX_FILM "-c:v mpeg4", "video/x-matroska"},
    {"a.webm", QX_FILM "-c:v libvpx -deadline realtime", "video/webm"},
    {"a.avi", QX_FILM "-c:v mpeg4", "video/x-msvideo"},
    {"a.mpg", QX_FILM "-c:v mpeg2video", "video/mpeg"},
    {"a.m2v", QX_FILM "-c:v mpeg2video -f mpeg2video", "video/mpeg"},
    {"a.ts", QX_FILM "-c:v mpeg2video", "video/mp2t"},
    {"a.mxf", QX_FILM "-c:v mpeg2video", "video/mxf"},
    {"a.flv", QX_FILM "-c:v flv", "video/x-flv"},
    {"a.asf", QX_FILM "-c:v wmv2", "video/x-ms-asf"},
    {"a.ogv", QX_FILM "-c:v libtheora", "video/ogg"},
    {"a.dv", QX_FILM "-c:v dvvideo -s 720x576 -pix_fmt yuv420p", "video/dv"},
    {"a.h264", QX_FILM "-c:v libx264 -f h264", "video/h264"},
};

constexpr kind sound_kinds[] = {
    {"a.mp3", QX_TONE, "audio/mpeg"},
    {"a.wav", QX_TONE, "audio/x-wav"},
    {"a.flac", QX_TONE, "audio/flac"},
    {"a.aiff", QX_TONE, "audio/x-aiff"},
    {"a.ac3", QX_TONE, "audio/ac3"},
    {"a.aac", QX_TONE "-f adts", "audio/aac"},
    {"a.m4a", QX_TONE, "audio/mp4"},
    {"a.mka", QX_TONE, "audio/x-matroska"},
    {"a.ogg", QX_TONE, "audio/ogg"},
    {"a.wma", QX_TONE "-f asf", "audio/x-ms-wma"},
    {"a.ts", QX_TONE "-c:a mp2 -f mpegts", "audio/mp2t"},
};

// The file's extension does not matter: it is identified under another name.
template <std::size_t count>
void expect_types(const kind (&kinds)[count]) {
  const scratch_folder folder;
  for (const kind& one : kinds) {
    const std::string path = make_media(folder, one.name, one.arguments);
    EXPECT_THAT(identified(path), Contains(Pair("file type", one.type))) << one.name;
  }
}

}  // namespace

TEST(startitem_types, of_videos) {
  expect_types(film_kinds);
}

TEST(startitem_types, of_sound_alone) {
  expect_types(sound_kinds);
}

TEST(startitem_types, of_pictures) {
  for (const auto& [name, type] :
       {std::pair("still.png", "image/png"), std::pair("still.jpg", "image/jpeg")}) {
    EXPECT_THAT(identified(test_media(name)),
                AllOf(Contains(Pair("file type", type)), Contains(Pair("width", "200")),
                      Contains(Pair("height", "100")), Not(Contains(Key("duration")))))
        << name;
  }
}

TEST(startitem_types, a_text_called_mp4_is_a_text) {
  EXPECT_THAT(identified(test_media("text.mp4"), "text.mp4"),
              AllOf(Contains(Pair("file type", "text/plain")), Contains(Pair("size", "17")),
                    Not(Contains(Key("duration")))));
}

TEST(startitem_types, an_empty_file_is_an_empty_file) {
  EXPECT_THAT(identified(test_media("empty.mp4"), "empty.mp4"),
              AllOf(Contains(Pair("file type", "inode/x-empty")), Contains(Pair("size", "0"))));
}

TEST(startitem_types, a_playlist_called_mp4_is_not_a_video) {
  const scratch_folder folder;
  const std::string path = folder.file("movie.mp4");
  std::ofstream(path) << "ffconcat version 1.0\nfile '" << test_media("silent.mp4") << "'\n";
  EXPECT_THAT(identified(path), AllOf(Contains(Pair("file type", testing::StartsWith("text/"))),
                                      Not(Contains(Key("video codec")))));
}

TEST(startitem_entries, of_a_broadcast_recording) {
  EXPECT_THAT(identified(test_media("interlaced.ts")),
              AllOf(Contains(Pair("file type", "video/mp2t")), Contains(Pair("width", "1920")),
                    Contains(Pair("height", "1080")), Contains(Pair("frame rate", "25.000")),
                    Contains(Pair("interlaced", "1")), Contains(Pair("video codec", "mpeg2video")),
                    Contains(Pair("audio codec", "mp2")), Contains(Pair("audio channels", "2")),
                    Contains(Pair("duration", testing::MatchesRegex("3\\.0[0-9][0-9]")))));
}

TEST(startitem_entries, of_a_file_are_its_size_and_time) {
  const scratch_folder folder;
  const std::string path = copy_to(folder.file("a.mp4"), test_media("silent.mp4"));
  const timespec times[2] = {{1234567890, 0}, {1234567890, 999999999}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  ASSERT_EQ(run_tool("qxmi_startitem", startitem_arguments(path)).end.status, 0);
  EXPECT_THAT(metadata_of(path),
              AllOf(Contains(Pair("modified", "1234567890")),
                    Contains(Pair("size", std::to_string(std::filesystem::file_size(path))))));
}

TEST(startitem_entries, count_rotation_and_the_shape_of_pixels) {
  EXPECT_THAT(identified(test_media("rotated.mp4")),
              AllOf(Contains(Pair("width", "180")), Contains(Pair("height", "320"))));
  EXPECT_THAT(identified(test_media("anamorphic_16_9.ts")),
              AllOf(Contains(Pair("width", "1024")), Contains(Pair("height", "576"))));
}

TEST(startitem_entries, measure_a_stream_without_a_clock) {
  EXPECT_THAT(identified(test_media("raw.h264")), Contains(Pair("duration", "2.000")));
}

TEST(startitem_entries, a_cover_is_ignored) {
  EXPECT_THAT(identified(test_media("covered.mp3")),
              AllOf(Contains(Pair("file type", "audio/mpeg")), Contains(Pair("audio codec", "mp3")),
                    Not(Contains(Key("width"))), Not(Contains(Key("video codec")))));
}
