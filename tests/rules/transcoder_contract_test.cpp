// Both sides of the contract with the transcoder.
#include <gmock/gmock.h>

#include "rules/transcoder_contract.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

const std::vector<std::string> usual = {"1080", "720", "480"};

frame_count count_of(std::initializer_list<const char*> lines) {
  frame_count count;
  for (const char* line : lines) {
    read_progress_line(line, count);
  }
  return count;
}

}  // namespace

TEST(transcoder_command, leaves_room_for_others) {
  EXPECT_THAT(transcode_command({"720", "/in.mpg", "/out.mp4", {}}),
              ElementsAre("/usr/bin/qxmi_vod_transcode", "-d", "7", "--cpu-cap", "70", "--profile",
                          "720", "-f", "mp4", "-o", "/out.mp4", "--file", "/in.mpg"));
}

TEST(transcoder_command, uses_all_processors_at_full_speed) {
  EXPECT_THAT(transcode_command({"720", "/in.mpg", "/out.mp4", 12}),
              ElementsAre("/usr/bin/qxmi_vod_transcode", "-d", "0", "--cpu-cap", "0",
                          "--max-threads", "12", "--profile", "720", "-f", "mp4", "-o", "/out.mp4",
                          "--file", "/in.mpg"));
}

TEST(transcoder_command, lists_up_to_the_limit) {
  EXPECT_THAT(listing_command("/in.mpg", 720),
              ElementsAre("/usr/bin/qxmi_vod_transcode", "--file", "/in.mpg", "--quote", "--height",
                          "720"));
  for (const int no_limit : {0, -1}) {
    EXPECT_THAT(listing_command("/in.mpg", no_limit),
                ElementsAre("/usr/bin/qxmi_vod_transcode", "--file", "/in.mpg", "--quote"));
  }
}

TEST(transcoder_listing, profiles_follow_the_quote_line) {
  EXPECT_THAT(profiles_in_listing("*SOURCE\n.. 9\n*QUOTE\n.. 1080\n..  720 x\r\n. 3\n.. \n.. 480"),
              ElementsAre("1080", "720 x"));
  EXPECT_THAT(profiles_in_listing(".. 1080\n"), IsEmpty());
}

TEST(transcoder_listing, name_ends_at_a_nul) {
  EXPECT_THAT(profiles_in_listing(std::string("*QUOTE\n.. 720\0x\n", 16)), ElementsAre("720"));
}

TEST(transcoder_listing, written_list_is_read_back) {
  EXPECT_EQ(listing_text({"720", "480"}), "*QUOTE\n.. 720\n.. 480\n");
  EXPECT_EQ(profiles_in_listing(listing_text(usual)), usual);
}

TEST(transcoder_choice, first_is_chosen_without_a_limit) {
  for (const int no_limit : {0, -1}) {
    const profile_choice choice = choose_profile(usual, no_limit);
    EXPECT_EQ(choice.profile, "1080");
    EXPECT_EQ(choice.basis, choice_basis::first);
  }
}

TEST(transcoder_choice, first_within_the_limit_is_chosen) {
  EXPECT_EQ(choose_profile(usual, 720).profile, "720");
  EXPECT_EQ(choose_profile(usual, 719).profile, "480");
  EXPECT_EQ(choose_profile(usual, 719).basis, choice_basis::first_within_limit);
}

TEST(transcoder_choice, last_is_chosen_where_all_are_above_the_limit) {
  EXPECT_EQ(choose_profile(usual, 240).profile, "480");
  EXPECT_EQ(choose_profile(usual, 240).basis, choice_basis::last_because_none_within_limit);
}

TEST(transcoder_choice, name_without_a_number_is_within_any_limit) {
  EXPECT_EQ(choose_profile({"audio"}, 240).profile, "audio");
}

TEST(transcoder_choice, empty_list_ends_the_process) {
  EXPECT_DEATH(choose_profile({}, 720), "i != quoted_profile.rend\\(\\)");
}

TEST(transcoder_progress, last_count_of_several_lines_counts) {
  const frame_count count = count_of({"Encoding: frame=1/200 fps=25.0", "Encoding: frame=50/200"});
  EXPECT_EQ(count.progress(), 2500);
}

TEST(transcoder_progress, count_without_a_total_takes_an_earlier_one_back) {
  EXPECT_EQ(count_of({"Encoding: frame=1/200", "Encoding: frame=2"}).progress(), std::nullopt);
}

TEST(transcoder_progress, other_lines_change_nothing) {
  const frame_count count = count_of({"frame=1/2", " Encoding: frame=1/2", "Encoding: x=1/2", ""});
  EXPECT_FALSE(count.is_found);
  EXPECT_EQ(count.progress(), std::nullopt);
}

TEST(transcoder_progress, written_line_is_read_back) {
  const std::string line = progress_line_text(50, 200, 24.96, 1.005);
  EXPECT_EQ(line, "Encoding: frame=50/200 fps=25.0 speed=1.00x");
  EXPECT_EQ(count_of({line.c_str()}).progress(), 2500);
}
