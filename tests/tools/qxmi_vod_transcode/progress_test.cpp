// From the engine's progress report to the tool's lines.
#include <gtest/gtest.h>

#include "tools/qxmi_vod_transcode/encoder_watch.h"
#include "tools/qxmi_vod_transcode/progress.h"

namespace {

progress_line after(progress_line line, const std::initializer_list<std::string_view>& report) {
  for (const std::string_view text : report) {
    line.take(text);
  }
  return line;
}

}  // namespace

TEST(progress_line, shows_frames_rate_and_speed) {
  const progress_line line = after({200, true}, {"frame=50", "fps=25.50", "speed=1.02x"});
  EXPECT_EQ(line.text(), "Encoding: frame=50/200 fps=25.5 speed=1.02x");
}

TEST(progress_line, begins_at_zero) {
  EXPECT_EQ(progress_line(200, true).text(), "Encoding: frame=0/200 fps=0.0 speed=0.00x");
}

TEST(progress_line, never_goes_above_the_total) {
  EXPECT_EQ(after({200, true}, {"frame=300"}).text().rfind("Encoding: frame=200/200 ", 0), 0U);
}

TEST(progress_line, never_goes_back) {
  EXPECT_EQ(after({200, true}, {"frame=50", "frame=40"}).text().rfind("Encoding: frame=50/", 0),
            0U);
}

TEST(progress_line, counts_sound_in_frames_of_40_ms) {
  const progress_line line = after({75, false}, {"out_time_us=1000000", "frame=3"});
  EXPECT_EQ(line.text().rfind("Encoding: frame=25/75 ", 0), 0U);
}

TEST(progress_line, treats_an_unknown_time_as_zero) {
  const progress_line line = after({75, false}, {"out_time_us=N/A", "speed=N/A"});
  EXPECT_EQ(line.text(), "Encoding: frame=0/75 fps=0.0 speed=0.00x");
}

TEST(progress_line, treats_a_negative_time_as_zero) {
  EXPECT_EQ(after({75, false}, {"out_time_us=-23000"}).text().rfind("Encoding: frame=0/", 0), 0U);
}

TEST(progress_line, has_news_at_the_end_of_a_report) {
  progress_line line(200, true);
  EXPECT_FALSE(line.take("frame=1"));
  EXPECT_FALSE(line.take("no pair"));
  EXPECT_TRUE(line.take("progress=continue"));
  EXPECT_TRUE(line.take("progress=end"));
}

TEST(progress_line, ends_with_all_frames) {
  EXPECT_EQ(after({200, true}, {"frame=190"}).final_text().rfind("Encoding: frame=200/200 ", 0),
            0U);
}

TEST(progress_line, adds_up_what_several_engines_do) {
  progress_line line(1000, true);
  line.begin_at(100);
  line.begin_part(1, 50);
  line.begin_part(2, 0);
  line.take("frame=60", 1);
  line.take("fps=20.0", 1);
  line.take("speed=0.50x", 1);
  line.take("frame=40", 2);
  line.take("fps=10.0", 2);
  line.take("speed=0.25x", 2);
  EXPECT_EQ(line.text(), "Encoding: frame=150/1000 fps=30.0 speed=0.75x");
  line.end_part(1, 200);
  EXPECT_EQ(line.done(), 340);
}

TEST(progress_line, of_pictures_ignores_an_engine_of_sound_alone) {
  progress_line line(1000, true);
  line.begin_part(1, 0);
  line.take("frame=60", 1);
  line.take("speed=0.50x", 1);
  line.take("speed=29.0x", 2);
  EXPECT_EQ(line.text(), "Encoding: frame=60/1000 fps=0.0 speed=0.50x");
}

// What is below the progress so far is made once more after an interruption.
TEST(encoder_watch, repeated_work_is_work) {
  progress_line line(1000, true);
  line.begin_at(900);
  line.begin_at(500);
  progress_output output;
  shared_cap cap(cpu_cap(0, 1));
  encoder_watch watch(line, output, cap);
  watch.on_line("frame=1");
  const std::int64_t before = watch.work_done();
  watch.on_line("frame=2");
  EXPECT_EQ(line.done(), 900);
  EXPECT_NE(watch.work_done(), before);
}
