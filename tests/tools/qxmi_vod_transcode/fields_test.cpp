// Interlaced films whose file does not say that they are.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"
#include "tests/support/media/test_media.h"

using namespace qx_test;
using testing::Contains;
using testing::HasSubstr;

namespace {

constexpr const char* quick_h264 = "-c:v libx264 -preset ultrafast -crf 15 -pix_fmt yuv420p ";

// A test picture that moves sideways, in pictures of two moments at 25 a second.
const std::string fields =
    "-f lavfi -i testsrc2=size=360x480:rate=50,scroll=h=0.005,tinterlace=interleave_top ";
// The same in pictures of one moment each.
const std::string whole_pictures = "-f lavfi -i testsrc2=size=360x480:rate=25,scroll=h=0.01 ";

void expect_quoted(const std::string& film, const std::string& word) {
  const tool_result result = run_tool("qxmi_vod_transcode", {"--quote", "--file", film});
  EXPECT_THAT(result.output, Contains(HasSubstr(" fps " + word + " ")));
}

}  // namespace

TEST(unmarked_fields, are_found_by_their_looks) {
  const scratch_folder folder;
  const std::string film = make_media(folder, "film.avi", fields + "-t 3 -c:v mjpeg -q:v 3");
  expect_quoted(film, "interlaced");
}

TEST(unmarked_fields, leave_no_comb) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.avi",
                 "-f lavfi -i color=gray:size=320x480:rate=50,drawbox=w=40:h=480:c=white:t=fill,"
                 "scroll=h=0.02,tinterlace=interleave_bottom -t 2 -c:v mjpeg -q:v 2");
  ASSERT_GT(combed_frames(film), 45);
  const std::string made = folder.file("made.mp4");
  ASSERT_EQ(
      run_tool("qxmi_vod_transcode", {"--profile", "480", "-o", made, "--file", film}).end.status,
      0);
  EXPECT_EQ(combed_frames(made), 0);
}

TEST(unmarked_fields, are_found_even_if_the_codec_could_have_marked_them) {
  const scratch_folder folder;
  expect_quoted(make_media(folder, "film.mp4", fields + "-t 3 " + quick_h264), "interlaced");
}

TEST(whole_pictures, are_not_taken_for_fields) {
  const scratch_folder folder;
  expect_quoted(make_media(folder, "a.avi", whole_pictures + "-t 3 -c:v mjpeg -q:v 3"),
                "progressive");
  expect_quoted(make_media(folder, "b.mp4", whole_pictures + "-t 3 " + quick_h264), "progressive");
}

TEST(whole_pictures, that_rise_like_closing_credits_are_not_taken_for_fields) {
  const scratch_folder folder;
  expect_quoted(make_media(folder, "film.avi",
                           "-f lavfi -i testsrc2=size=360x480:rate=25,scroll=v=0.01 -t 3 "
                           "-c:v mjpeg -q:v 3"),
                "progressive");
}

TEST(marked_fields, are_found_even_if_only_the_end_has_them) {
  const scratch_folder folder;
  const std::string calm =
      make_media(folder, "calm.ts", whole_pictures + "-t 12 -g 25 " + quick_h264 + "-f mpegts");
  const std::string moving = make_media(folder, "moving.ts",
                                        fields + "-t 8 -output_ts_offset 12 -g 25 " + quick_h264 +
                                            "-x264-params interlaced=1:tff=1 -f mpegts");
  const std::string film = join_media(folder, "film.ts", {calm, moving});
  expect_quoted(film, "interlaced");
  const tool_result result = run_tool("qxmi_startitem", {"--identify", "--file", film});
  EXPECT_THAT(result.output, Contains("interlaced=1"));
}
