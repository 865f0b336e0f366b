// How a transcode is divided into segments, and on what these depend.
#include <cerrno>
#include <fstream>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"
#include "tools/qxmi_vod_transcode/segment_key.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"

using testing::HasSubstr;
using testing::Not;

namespace {

source_media film(rational rate, double seconds = 600.0) {
  source_media media;
  media.container = "matroska,webm";
  media.picture.emplace();
  media.picture->frame_rate = rate;
  media.picture->displayed = media.picture->coded = {640, 360};
  media.sound.emplace();
  media.sound->index = 1;
  media.sound->sample_rate = 48000;
  media.picture_duration = media.sound_duration = media.duration = seconds;
  return media;
}

encode_settings small_settings() {
  encode_settings settings;
  settings.size = {640, 360};
  settings.time_limit = 606.0;
  return settings;
}

std::string text_of(const argument_list& arguments) {
  std::string text;
  for (const std::string& argument : arguments) {
    text += argument + " ";
  }
  return text;
}

std::string command(const source_media& media, const segment_run& run) {
  const segment_plan plan = plan_segments(media, 20, 606.0);
  return text_of(run_command(media, small_settings(), plan, run, "in", "out/"));
}

segment_run from_second_segment() {
  segment_run run;
  run.pictures.first = run.sounds.first = 1;
  run.warm_up = 3.0;
  return run;
}

}  // namespace

TEST(segment_plan, segments_are_whole_groups_of_pictures) {
  EXPECT_EQ(plan_segments(film({25, 1}), 20, 606.0).frames, 500);
  EXPECT_EQ(plan_segments(film({24000, 1001}), 20, 606.0).frames, 480);
  EXPECT_EQ(plan_segments(film({60000, 1001}), 20, 606.0).frames, 1200);
  EXPECT_EQ(plan_segments(film({25, 1}), 3, 606.0).frames, 50);
}

TEST(segment_plan, errors_of_rounded_times_do_not_add_up) {
  const segment_plan plan = plan_segments(film({24000, 1001}), 20, 606.0);
  EXPECT_EQ(plan.picture_time_us(1), 20020000);
  const segment_plan odd = plan_segments(film({19001, 317}), 20, 606.0);
  EXPECT_EQ(odd.picture_time_us(1000), 20019998947);
}

TEST(segment_plan, sound_begins_at_whole_microseconds) {
  for (const int seconds : {2, 3, 20, 600}) {
    const segment_plan plan = plan_segments(film({60000, 1001}), seconds, 606.0);
    for (const std::int64_t segment : {1, 2, 77}) {
      const std::int64_t packet = plan.first_packet(segment) - plan.lead_packets(segment);
      EXPECT_EQ(plan.sound_start_us(segment) * 48, packet * 1024 * 1000) << seconds;
    }
  }
}

TEST(segment_plan, the_first_sound_needs_no_lead) {
  const segment_plan plan = plan_segments(film({25, 1}), 20, 606.0);
  EXPECT_EQ(plan.lead_packets(0), 0);
  EXPECT_EQ(plan.lead_packets(1), 60);
  EXPECT_EQ(plan.sound_start_us(0), 0);
}

TEST(segment_plan, a_day_of_short_segments_fits_a_command_line) {
  const source_media media = film({60, 1}, 48 * 3600.0);
  const segment_plan plan = plan_segments(media, 2, 48 * 3600.0);
  EXPECT_LE(plan.most_segments(48 * 3600.0), 9000);
  EXPECT_EQ(plan.frames % 120, 0);
}

TEST(segment_plan, sound_that_goes_on_for_days_after_the_picture_fits_a_command_line) {
  const double longest = 48 * 3600.0;
  EXPECT_LE(plan_segments(film({60, 1}), 2, longest).most_segments(longest), 9000);
}

TEST(segment_plan, a_short_source_is_not_cut) {
  EXPECT_TRUE(can_be_cut(film({25, 1}, 60.0), 60));
  EXPECT_FALSE(can_be_cut(film({25, 1}, 59.9), 60));
}

TEST(segment_plan, a_source_that_cannot_be_read_from_the_middle_is_not_cut) {
  source_media media = film({25, 1});
  media.container = "avi";
  EXPECT_FALSE(can_be_cut(media, 60));
  media = film({25, 1});
  media.container = "mpegts";
  media.jump_limit = 100000.0;
  EXPECT_TRUE(can_be_cut(media, 60));
  media.measured = true;
  EXPECT_FALSE(can_be_cut(media, 60));
  media = film({25, 1});
  media.picture.reset();
  EXPECT_FALSE(can_be_cut(media, 60));
}

TEST(segment_command, a_whole_run_follows_the_clock_as_one_without_segments) {
  const std::string text = command(film({25, 1}), segment_run());
  EXPECT_THAT(text, Not(HasSubstr("-copyts")));
  EXPECT_THAT(text, Not(HasSubstr("-ss ")));
  EXPECT_THAT(text, HasSubstr("-segment_frames 500,1000,1500,"));
  EXPECT_THAT(text, HasSubstr("-segment_start_number 0 "));
}

TEST(segment_command, a_later_run_keeps_the_grid_of_frames) {
  source_media media = film({25, 1});
  media.beginning = 100.01;
  media.lead = 0.01;
  const std::string text = command(media, from_second_segment());
  EXPECT_THAT(text, HasSubstr("-copyts"));
  EXPECT_THAT(text, HasSubstr("-itsoffset -100.010000 -noaccurate_seek -ss 13.010000"));
  EXPECT_THAT(text, HasSubstr(",fps=25/1,trim=start_pts=400:end_pts=15150,setpts=PTS-400,"));
  EXPECT_THAT(text, HasSubstr("-segment_frames 100,600,1100,"));
}

// The sound of 936 packets without a lead of 60 begins 876 * 1024 / 48000 s after the beginning.
TEST(segment_command, a_later_run_leads_in_its_sound) {
  const std::string text = command(film({25, 1}), from_second_segment());
  EXPECT_THAT(text, HasSubstr("-itsoffset -18.688000 -noaccurate_seek -ss 15.688000"));
  EXPECT_THAT(text, HasSubstr("-segment_frames 60,996,1932,"));
  EXPECT_THAT(text, HasSubstr("-segment_start_number 0 -segment_list out/sounds -segment_list_type "
                              "csv -f segment -protocol_whitelist file -y out/s%06d.adts"));
  EXPECT_THAT(text, HasSubstr("-f framecrc -protocol_whitelist file -y out/landing"));
}

TEST(segment_command, a_run_that_reads_from_the_beginning_does_not_seek) {
  segment_run run = from_second_segment();
  run.warm_up = 1e9;
  const std::string text = command(film({25, 1}), run);
  EXPECT_THAT(text, Not(HasSubstr("-ss ")));
  EXPECT_THAT(text, Not(HasSubstr("landing")));
}

TEST(segment_command, a_run_of_some_segments_ends_with_their_last_frame) {
  segment_run run = from_second_segment();
  run.pictures.end = 4;
  run.sounds = {0, 0};
  const std::string text = command(film({25, 1}), run);
  EXPECT_THAT(text, HasSubstr("trim=start_pts=400:end_pts=2003,"));
  EXPECT_THAT(text, HasSubstr("split[more][all];[more]trim=end_pts=1600[picture];"));
  EXPECT_THAT(text, HasSubstr("-segment_frames 100,600,1100,1600 "));
  EXPECT_THAT(text, Not(HasSubstr("-c:a")));
}

TEST(segment_command, a_run_of_pictures_alone_from_the_beginning_makes_none_in_vain) {
  segment_run run;
  run.pictures = {0, 3};
  run.sounds = {0, 0};
  run.warm_up = 3.0;
  const std::string text = command(film({25, 1}), run);
  EXPECT_THAT(text, HasSubstr("-copyts"));
  EXPECT_THAT(text, Not(HasSubstr("-ss ")));
  EXPECT_THAT(text, HasSubstr("-segment_frames 500,1000,1500,2000 "));
  EXPECT_THAT(text, HasSubstr("-segment_start_number 0 "));
}

TEST(segment_command, a_run_of_sound_alone_has_one_input) {
  segment_run run = from_second_segment();
  run.pictures = {0, 0};
  run.sounds.end = 3;
  const std::string text = command(film({25, 1}), run);
  EXPECT_THAT(text, Not(HasSubstr("libx264")));
  EXPECT_THAT(text, Not(HasSubstr("framemd5")));
  EXPECT_THAT(text, HasSubstr("-map 0:1 -filter:a "));
  EXPECT_THAT(text, HasSubstr("-map 0:1 -c copy "));
  EXPECT_THAT(text, HasSubstr("-frames:a 1932 "));  // 60 of lead and 2 segments of 936
  EXPECT_THAT(text, HasSubstr("-segment_frames 60,996,1932 "));
}

TEST(segment_command, the_whole_sound_is_one_file_with_time_stamps) {
  const source_media media = film({25, 1});
  segment_plan plan = plan_segments(media, 20, 606.0);
  plan.sound_is_whole = true;
  segment_run run;
  run.pictures = {0, 0};
  run.warm_up = 3.0;
  const std::string text = text_of(run_command(media, small_settings(), plan, run, "in", "out/"));
  EXPECT_THAT(text, HasSubstr("-f mp4 -protocol_whitelist file -y out/s000000.m4a"));
  EXPECT_THAT(text, HasSubstr("-copyts"));
  EXPECT_THAT(text, Not(HasSubstr("-f segment")));
  EXPECT_THAT(text, Not(HasSubstr("-ss ")));
  EXPECT_THAT(text, Not(HasSubstr("libx264")));
}

// Files of bare packets do not state the encoder's delay.
TEST(segment_command, the_whole_sound_is_joined_at_its_own_time) {
  segment_plan plan;
  EXPECT_THAT(text_of(join_command(plan, "list", "sound", "out")), HasSubstr("-itsoffset"));
  plan.sound_is_whole = true;
  const std::string text = text_of(join_command(plan, "list", "sound", "out"));
  EXPECT_THAT(text, Not(HasSubstr("-itsoffset")));
  EXPECT_THAT(text, HasSubstr("-f mov "));
}

TEST(segment_command, the_list_for_joining_names_each_segment_with_its_length) {
  EXPECT_EQ(join_list(plan_segments(film({24000, 1001}), 20, 606.0), 2),
            "ffconcat version 1.0\nfile v000000.mp4\nduration 20.020000\n"
            "file v000001.mp4\nduration 20.020000\n");
}

TEST(segment_key, of_a_source_that_cannot_be_read_is_not_another_one) {
  const qx_test::scratch_folder folder;
  std::ofstream(folder.file("film.mkv")) << "a film";
  const source_media media = film({25, 1});
  const segment_plan plan = plan_segments(media, 20, 606.0);
  source_file source;
  std::string text;
  ASSERT_TRUE(source.open(folder.file("film.mkv"), text)) << text;
  EXPECT_TRUE(segment_key(source, media, small_settings(), plan, text));
  const unique_fd unreadable(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(dup2(unreadable.get(), source.fd()), source.fd());
  EXPECT_FALSE(segment_key(source, media, small_settings(), plan, text));
  EXPECT_EQ(errno, EISDIR);
}
