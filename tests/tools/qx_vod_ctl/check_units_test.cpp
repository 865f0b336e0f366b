// The parts of "check": admission, choice of the profile, size, and output.
#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/check/prospect.h"

using ::testing::HasSubstr;
using ::testing::Not;

namespace {

const std::vector<std::string> usual = {"1080", "720", "480"};

prospect accepted_prospect() {
  prospect found;
  found.path = "/mnt/media/it's.mpg";
  found.identity = {{"file type", "video/mp2t"},
                    {"duration", "61.400"},
                    {"width", "1920"},
                    {"height", "1080"},
                    {"frame rate", "25.000"},
                    {"interlaced", "1"},
                    {"video codec", "mpeg2video"},
                    {"audio codec", "mp2"},
                    {"audio channels", "2"},
                    {"size", "12300000"}};
  found.profiles = usual;
  found.choice = explain_choice(usual, 720);
  found.size = limit_of_size("720", 61.4, 25.0);
  found.time = work_time{20.0, 3.07};
  found.room = disk_room{500000000000, 1000000000000, false, false};
  found.commands = {{"/usr/bin/qxmi_vod_transcode", "--file", found.path}};
  return found;
}

}  // namespace

TEST(ctl_check_choice, reason_explains_the_choice_of_the_profile) {
  EXPECT_EQ(explain_choice(usual, -1).reason, "it is the first that the transcoder offers");
  EXPECT_EQ(explain_choice(usual, 719).profile, "480");
  EXPECT_EQ(explain_choice(usual, 719).reason,
            "it is the first that is not above \"max profile\", 719");
  EXPECT_EQ(explain_choice(usual, 240).reason,
            "all are above \"max profile\", 240, and it is the last");
}

TEST(ctl_check_size, is_bounded_by_the_transcoder_s_bit_rates) {
  const auto size = limit_of_size("720", 100.0, 25.0);
  ASSERT_TRUE(size);
  EXPECT_EQ(size->bytes, (100 * (3000U + 160U) + 2 * 3000U) * 1000 / 8);
  EXPECT_EQ(size->basis, "100.00 s at no more than 3000 kbit/s of video and 160 kbit/s of audio");
}

TEST(ctl_check_size, high_frame_rates_may_take_half_as_much_again) {
  EXPECT_EQ(limit_of_size("720", 100.0, 50.0)->bytes, (100 * 4660U + 2 * 4500U) * 125);
}

TEST(ctl_check_size, of_audio_alone_has_a_separate_bound) {
  EXPECT_EQ(limit_of_size("audio", 100.0, 0.0)->bytes, 2000000U);
}

TEST(ctl_check_size, is_omitted_without_a_basis) {
  EXPECT_FALSE(limit_of_size("720", 0.0, 25.0));
  EXPECT_FALSE(limit_of_size("something", 100.0, 25.0));
}

TEST(ctl_check_output, accepted_file_is_described_line_by_line) {
  EXPECT_EQ(prospect_text(accepted_prospect()),
            "file      /mnt/media/it's.mpg\n"
            "accepted  yes\n"
            "identity  video/mp2t, 1920x1080, 25.000 fps, interlaced, mpeg2video, mp2, 2 channels, "
            "61.400 s, 12.3 MB\n"
            "offered   1080 720 480\n"
            "profile   720, because it is the first that is not above \"max profile\", 720\n"
            "where     here\n"
            "size      at most 25.0 MB: 61.40 s at no more than 3000 kbit/s of video and 160 "
            "kbit/s of audio\n"
            "time      about 0:20 once it starts: jobs with profile 720 ran at 3.1 times "
            "playing speed\n"
            "room      500.0 GB free for /mnt/main/tv/vod/\n"
            "command   /usr/bin/qxmi_vod_transcode --file '/mnt/media/it'\\''s.mpg'\n");
}

TEST(ctl_check_output, disk_that_is_too_small_is_mentioned) {
  prospect found = accepted_prospect();
  found.room->free_bytes = 24000000;
  EXPECT_THAT(prospect_text(found), HasSubstr("24.0 MB free for /mnt/main/tv/vod/, which may be"));
}

TEST(ctl_check_output, segments_need_as_much_room_as_the_result) {
  prospect found = accepted_prospect();
  found.room->free_bytes = 50000000;
  found.in_segments = true;
  EXPECT_THAT(prospect_text(found), HasSubstr("/, which may be too little"));
  found.segments.bytes = 10000000;
  EXPECT_THAT(prospect_text(found), Not(HasSubstr("which may be"))) << "some are there";
}

TEST(ctl_check_output, finished_segments_are_counted) {
  prospect found = accepted_prospect();
  found.segments.count = 12;
  found.segments.bytes = 34000000;
  EXPECT_THAT(prospect_text(found), HasSubstr("\nsegments  12 are finished, 34.0 MB: an interr"));
  EXPECT_EQ(prospect_json(found)["finished segments"].number_value(), 12.0);
}

TEST(ctl_check_output, refusal_comes_with_advice) {
  prospect found;
  found.path = "/etc/passwd";
  found.refused.text = "Rejected: Forbidden input file";
  EXPECT_EQ(prospect_text(found),
            "file      /etc/passwd\n"
            "accepted  no: Rejected: Forbidden input file\n"
            "          -> move it below /mnt, /media or /srv, or list its directory in "
            "/mnt/main/tv/media.roots\n");
}

TEST(ctl_check_output, json_of_a_refusal_has_no_outcome) {
  prospect found;
  found.refused.text = "Rejected: neither file nor folder";
  const json11::Json json = prospect_json(found);
  EXPECT_FALSE(json["accepted"].bool_value());
  EXPECT_EQ(json["advice"].string_value(), "name the file itself, not a link or device");
  EXPECT_TRUE(json["profile"].is_null());
  EXPECT_TRUE(json["commands"].is_null());
}

TEST(ctl_check_output, json_of_an_accepted_file_has_numbers_and_argument_lists) {
  const json11::Json json = prospect_json(accepted_prospect());
  EXPECT_EQ(json["size at most"].number_value(), 25003000.0);
  EXPECT_EQ(json["seconds"].number_value(), 20.0);
  EXPECT_EQ(json["free"].number_value(), 500000000000.0);
  EXPECT_EQ(json["commands"][0][2].string_value(), "/mnt/media/it's.mpg");
  EXPECT_EQ(json["identity"]["width"].string_value(), "1920");
}

TEST(ctl_check_output, escape_sequence_in_a_name_does_not_reach_the_terminal) {
  prospect found;
  found.path = "/mnt/\x1b[2J";
  EXPECT_THAT(prospect_text(found), Not(HasSubstr("\x1b")));
}
