// Interrupted transcodes of sources in which the place to continue is hard to find.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"

using namespace qx_test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

const std::string encoder =
    " -c:v libx264 -preset ultrafast -sc_threshold 0 -bf 2 -pix_fmt yuv420p -c:a aac -ac 2 ";

class checkpoint_of_a_source : public checkpoint_bench {
protected:
  checkpoint_of_a_source() { fs::create_directory(metadata); }

  // `pictures` and `sound` are filters that follow a picture of so many seconds and a tone.
  void use(const std::string& name, const std::string& rate, int seconds,
           const std::string& pictures, const std::string& sound, const std::string& options) {
    const std::string length = ":d=" + std::to_string(seconds);
    source = make_media(settings, name,
                        "-f lavfi -i testsrc2=s=128x72:r=" + rate + length + pictures +
                            " -f lavfi -i aevalsrc=0.3*sin(400*t*t):s=48000" + length + sound +
                            encoder + options);
  }

  // Nothing from 6 to 14 s.
  void use_film_with_gap() {
    use("film.mkv", "25", 24, ",select=not(between(t\\,6\\,14))",
        ",aselect=not(between(t\\,6\\,14))", "-fps_mode vfr -g 50");
  }

  void expect_resumed_as_one_piece() const {
    const tool_result result = resume();
    EXPECT_EQ(result.end.status, 0);
    EXPECT_THAT(result.errors, ElementsAre(HasSubstr(": resumed at ")));
    expect_as_in_one_piece();
  }

  // How often a run of the engine had to begin further back.
  int repetitions() const {
    std::ifstream file(metadata + "/vod.log");
    const std::string log{std::istreambuf_iterator<char>(file), {}};
    const std::string words = "the next run begins to read earlier";
    int count = 0;
    for (std::size_t at = log.find(words); at != std::string::npos; at = log.find(words, at + 1)) {
      ++count;
    }
    return count;
  }

  const std::string metadata = folder.file(".out.mp4.metadata");
};

}  // namespace

// A run that begins 3 s before its first picture finds no key frame there; from 12 s before, it
// does.
TEST_F(checkpoint_of_a_source, with_a_key_frame_every_10_s_reads_from_further_back) {
  use("film.ts", "25", 30, "", "", "-g 250 -keyint_min 250");
  interrupt_with(9);
  expect_resumed_as_one_piece();
  EXPECT_EQ(repetitions(), 1);
}

TEST_F(checkpoint_of_a_source, with_a_key_frame_every_20_s_reads_from_still_further_back) {
  use("film.ts", "25", 30, "", "", "-g 500 -keyint_min 500");
  interrupt_with(9);
  expect_resumed_as_one_piece();
  EXPECT_EQ(repetitions(), 2);
}

TEST_F(checkpoint_of_a_source, with_a_gap_of_8_s_is_resumed_in_it) {
  use_film_with_gap();
  interrupt_with(5);
  expect_resumed_as_one_piece();
}

TEST_F(checkpoint_of_a_source, with_a_gap_of_8_s_is_resumed_after_it) {
  use_film_with_gap();
  interrupt_with(8);
  expect_resumed_as_one_piece();
}

TEST_F(checkpoint_of_a_source, with_pictures_that_begin_late_is_resumed) {
  use("film.ts", "25", 20, ",setpts=PTS+5/TB", "", "-fps_mode vfr -g 50");
  interrupt_with(4);
  expect_resumed_as_one_piece();
}

TEST_F(checkpoint_of_a_source, with_pictures_at_any_time_is_resumed) {
  use("film.mp4", "30", 20, ",select=1-between(mod(n\\,11)\\,3\\,4)-eq(mod(n\\,11)\\,8)", "",
      "-fps_mode vfr -video_track_timescale 30000 -g 60");
  interrupt_with(4);
  expect_resumed_as_one_piece();
}

TEST_F(checkpoint_of_a_source, with_59_94_pictures_a_second_is_resumed) {
  use("film.ts", "60000/1001", 20, "", "", "-g 120");
  interrupt_with(4);
  expect_resumed_as_one_piece();
}
