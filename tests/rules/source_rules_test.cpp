// Which sources are refused, with which text.
#include <cerrno>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "rules/source_rules.h"

TEST(source_rules, path_is_divided_at_its_last_slash) {
  const auto place = place_of_source("/mnt/media/clip.mpg");
  ASSERT_TRUE(place);
  EXPECT_EQ(place->folder, "/mnt/media");
  EXPECT_EQ(place->name, "clip.mpg");
}

TEST(source_rules, relative_path_has_no_place) {
  EXPECT_FALSE(place_of_source(""));
  EXPECT_FALSE(place_of_source("clip.mpg"));
  EXPECT_FALSE(place_of_source("mnt/media/clip.mpg"));
}

TEST(source_rules, name_that_may_not_be_touched_has_no_place) {
  for (const char* path : {"/mnt/media/", "/mnt/media/.clip.mpg", "/mnt/media/a\nb", "/mnt/.."}) {
    EXPECT_FALSE(place_of_source(path)) << path;
  }
}

TEST(source_rules, source_without_a_path_is_refused_first) {
  EXPECT_EQ(path_refusal("", source_path_forbidden), "Rejected: No input file");
}

TEST(source_rules, path_is_forbidden_by_its_bit_alone) {
  EXPECT_EQ(path_refusal("/mnt/clip.mpg", 0x1), "Rejected: Forbidden input file");
  EXPECT_EQ(path_refusal("/mnt/clip.mpg", ~0x1U), "");
}

TEST(source_rules, path_through_a_metadata_directory_is_refused) {
  EXPECT_EQ(path_refusal("/mnt/.clip.mpg.metadata/metadata", 0), "Rejected: File is metadata");
}

TEST(source_rules, folder_that_cannot_be_opened_is_refused) {
  EXPECT_EQ(folder_refusal(false, 0), "Rejected: unable to locate folder");
}

TEST(source_rules, folder_is_forbidden_by_its_bit_alone) {
  EXPECT_EQ(folder_refusal(true, 0x200), "Rejected: unable to locate folder");
  EXPECT_EQ(folder_refusal(true, ~0x200U), "");
}

TEST(source_rules, failed_look_up_is_refused_with_its_cause) {
  EXPECT_EQ(file_refusal(ENOENT, 0), "Rejected: file not accessible, No such file or directory");
  EXPECT_EQ(file_refusal(EACCES, S_IFREG), "Rejected: file not accessible, Permission denied");
}

TEST(source_rules, only_files_and_folders_are_media) {
  EXPECT_EQ(file_refusal(0, S_IFREG | 0644), "");
  EXPECT_EQ(file_refusal(0, S_IFDIR | 0755), "");
  for (const mode_t type : {S_IFIFO, S_IFLNK, S_IFSOCK, S_IFCHR, S_IFBLK}) {
    EXPECT_EQ(file_refusal(0, type | 0644), "Rejected: neither file nor folder") << type;
  }
}

TEST(source_rules, offline_counts_from_1) {
  for (const char* offline : {"1", " 2", "1 day"}) {
    EXPECT_EQ(metadata_refusal("video/mp4", offline), "Rejected: File is marked offline");
  }
  for (const char* offline : {"", "0", "-1", "yes"}) {
    EXPECT_EQ(metadata_refusal("video/mp4", offline), "") << offline;
  }
}

TEST(source_rules, offline_is_refused_before_the_type) {
  EXPECT_EQ(metadata_refusal("text/plain", "1"), "Rejected: File is marked offline");
}

TEST(source_rules, type_that_is_not_transcoded_is_refused) {
  EXPECT_EQ(metadata_refusal("text/plain", ""), "Rejected: File type is not transcodeable");
  EXPECT_EQ(metadata_refusal("", ""), "");
}

TEST(source_rules, sound_pictures_and_playlists_are_transcoded) {
  for (const char* type : {"audio/mpeg", "video/", "application/x-velmar-playlist",
                           "application/x-velmar-multiregion-playlist"}) {
    EXPECT_TRUE(is_transcodeable(type)) << type;
  }
  for (const char* type :
       {"", "audio", "image/png", " video/mp4", "Video/mp4", "application/x-velmar-playlist2"}) {
    EXPECT_FALSE(is_transcodeable(type)) << type;
  }
}
