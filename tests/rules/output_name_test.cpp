// How outputs are named, and where they may be.
#include <gtest/gtest.h>

#include "rules/output_name.h"

TEST(output_name, is_made_of_moment_profile_and_source) {
  EXPECT_EQ(output_path_for("1", "720", "clip.mpg"), "/mnt/main/tv/vod/1.vod.720.clip.mpg.mp4");
}

TEST(output_name, source_that_ends_in_mp4_adds_no_second_ending) {
  EXPECT_EQ(output_path_for("1", "720", "clip.mp4"), "/mnt/main/tv/vod/1.vod.720.clip.mp4");
  EXPECT_EQ(output_path_for("1", "720", "clip.MP4"), "/mnt/main/tv/vod/1.vod.720.clip.MP4.mp4");
}

TEST(output_name, is_empty_when_it_is_too_long_for_a_path) {
  const std::string longest(4095 - std::string("1.vod.720.").size(), 'a');
  EXPECT_NE(output_path_for("1", "720", longest), "");
  EXPECT_EQ(output_path_for("1", "720", longest + "a"), "");
}

TEST(output_name, profile_ends_at_a_nul) {
  EXPECT_EQ(output_path_for("1", std::string("720\0x", 5), "a"),
            "/mnt/main/tv/vod/1.vod.720.a.mp4");
}

TEST(output_name, path_is_allowed_directly_under_the_output_directory) {
  EXPECT_TRUE(is_output_path_allowed("/mnt/main/tv/vod/a.mp4"));
  EXPECT_TRUE(is_output_path_allowed("/mnt/main/tv/vod///a.mp4"));
  for (const char* path : {"", "a.mp4", "/mnt/main/tv/vod/", "/mnt/main/tv/vod/.a.mp4",
                           "/mnt/main/tv/vod/b/a.mp4", "/mnt/main/tv/a.mp4"}) {
    EXPECT_FALSE(is_output_path_allowed(path)) << path;
  }
}

TEST(output_name, metadata_are_beside_the_output) {
  EXPECT_EQ(metadata_folder_of_output("/mnt/main/tv/vod/a.mp4"),
            "/mnt/main/tv/vod/.a.mp4.metadata");
}

TEST(output_name, output_has_to_leave_room_for_its_metadata) {
  const std::string folder = "/mnt/main/tv/vod/";
  EXPECT_TRUE(metadata_folder_of_output(folder + std::string(245, 'a')));
  EXPECT_FALSE(metadata_folder_of_output(folder + std::string(246, 'a')));
}

TEST(output_name, path_that_is_not_allowed_has_no_metadata) {
  EXPECT_FALSE(metadata_folder_of_output("/mnt/main/tv/a.mp4"));
}
