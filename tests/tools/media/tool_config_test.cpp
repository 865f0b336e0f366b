// The settings of the media tools: how lines are read, and where from.
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"
#include "tools/media/settings_text.h"
#include "tools/media/tool_config.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace {

struct declared_settings : testing::Test {
  declared_settings() {
    settings.add_switch("kept", kept);
    settings.add_number("days", days, 0, 30);
    settings.add_choice("spread", spread, {"none", "wide"});
    settings.add_name("part", part);
    settings.add_text("place", place);
  }
  settings_text settings;
  bool kept = true;
  int days = 7;
  std::string spread = "none";
  std::string part;
  std::string place = "here";
};

struct config_file : testing::Test {
  tool_config read() { return read_tool_config(path, warnings); }

  qx_test::scratch_folder folder;
  std::string path = folder.file("media.conf");
  std::vector<std::string> warnings;
};

}  // namespace

TEST_F(declared_settings, of_each_kind_are_read) {
  EXPECT_THAT(settings.read("kept=no\ndays=12\nspread=wide\nplace=a b=c\n"), IsEmpty());
  EXPECT_FALSE(kept);
  EXPECT_EQ(days, 12);
  EXPECT_EQ(spread, "wide");
  EXPECT_EQ(place, "a b=c");
}

TEST_F(declared_settings, that_are_names_have_no_other_characters) {
  EXPECT_THAT(settings.read("part=Video_2.x-1\n"), IsEmpty());
  EXPECT_EQ(part, "Video_2.x-1");
  const std::string wanted = "part must be a name of letters, digits, \".\", \"_\" and \"-\", not ";
  EXPECT_THAT(settings.read("part=a b\npart=$(id)\npart=\n"),
              ElementsAre("line 1: " + wanted + "\"a b\"", "line 2: " + wanted + "\"$(id)\""));
  EXPECT_EQ(part, "");
  EXPECT_THAT(settings.read("part=" + std::string(256, 'a') + "\n"), testing::SizeIs(1));
}

TEST_F(declared_settings, may_have_blanks_comments_and_empty_lines_around_them) {
  EXPECT_THAT(settings.read("\n  # days=1\n\t days \t= 9 \r\n\nplace ="), IsEmpty());
  EXPECT_EQ(days, 9);
  EXPECT_EQ(place, "");
}

TEST_F(declared_settings, keep_their_value_where_the_line_is_wrong) {
  EXPECT_THAT(
      settings.read("kept=perhaps\ndays=31\ndays=-1\ndays=3 or 4\ndays=\nspread=far\nnonsense\n"),
      ElementsAre("line 1: kept must be yes or no, not \"perhaps\"",
                  "line 2: days must be a whole number from 0 to 30, not \"31\"",
                  "line 3: days must be a whole number from 0 to 30, not \"-1\"",
                  "line 4: days must be a whole number from 0 to 30, not \"3 or 4\"",
                  "line 5: days must be a whole number from 0 to 30, not \"\"",
                  "line 6: spread must be none or wide, not \"far\"",
                  "line 7: is not of the form name=value"));
  EXPECT_TRUE(kept);
  EXPECT_EQ(days, 7);
  EXPECT_EQ(spread, "none");
}

TEST_F(declared_settings, that_occur_twice_have_the_last_correct_value) {
  EXPECT_THAT(settings.read("days=1\ndays=2\ndays=x\n"), testing::SizeIs(1));
  EXPECT_EQ(days, 2);
}

TEST_F(declared_settings, that_are_unknown_are_warned_of_once_each) {
  EXPECT_THAT(settings.read("dais=1\ndais=2\nDays=3\n"),
              ElementsAre("line 1: unknown setting \"dais\"", "line 3: unknown setting \"Days\""));
}

TEST_F(config_file, that_is_missing_leaves_the_defaults) {
  EXPECT_EQ(read().longest_hours, 48);
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(config_file, sets_what_it_names) {
  std::ofstream(path) << "length.max_hours = 72\n";
  EXPECT_EQ(read().longest_hours, 72);
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(config_file, keeps_transcodes_on_this_machine_by_default) {
  const tool_config config = read();
  EXPECT_EQ(config.spread, "none");
  EXPECT_EQ(config.spread_partition, "");
  EXPECT_EQ(config.spread_nodes, 0);
  EXPECT_EQ(config.spread_cpus, 4);
  EXPECT_EQ(config.spread_min_length, 300);
  EXPECT_EQ(config.spread_patience, 120);
}

TEST_F(config_file, sets_the_cluster_to_use) {
  std::ofstream(path) << "spread=slurm\nspread.partition=vod\nspread.nodes=12\nspread.cpus=8\n"
                         "spread.min_length=600\nspread.patience=30\n";
  const tool_config config = read();
  EXPECT_THAT(warnings, IsEmpty());
  EXPECT_EQ(config.spread, "slurm");
  EXPECT_EQ(config.spread_partition, "vod");
  EXPECT_EQ(config.spread_nodes, 12);
  EXPECT_EQ(config.spread_cpus, 8);
  EXPECT_EQ(config.spread_min_length, 600);
  EXPECT_EQ(config.spread_patience, 30);
}

TEST_F(config_file, refuses_a_cluster_that_cannot_work) {
  std::ofstream(path) << "spread=grid\nspread.nodes=-1\nspread.cpus=0\nspread.min_length=59\n"
                         "spread.patience=9\n";
  const tool_config config = read();
  EXPECT_THAT(warnings, ElementsAre(EndsWith("line 1: spread must be none or slurm, not \"grid\""),
                                    EndsWith("from 0 to 10000, not \"-1\""),
                                    EndsWith("from 1 to 1024, not \"0\""),
                                    EndsWith("from 60 to 86400, not \"59\""),
                                    EndsWith("from 10 to 86400, not \"9\"")));
  EXPECT_EQ(config.spread, "none");
  EXPECT_EQ(config.spread_cpus, 4);
}

TEST_F(config_file, is_named_in_its_warnings) {
  std::ofstream(path) << "# hours\nlength.max_hours = 0\n";
  EXPECT_EQ(read().longest_hours, 48);
  EXPECT_THAT(warnings, ElementsAre(path + ": line 2: length.max_hours must be a whole number "
                                           "from 1 to 10000, not \"0\""));
}

TEST_F(config_file, that_is_a_fifo_is_refused_at_once) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(read().longest_hours, 48);
  EXPECT_THAT(warnings, ElementsAre(EndsWith("media.conf: Invalid argument")));
}

TEST_F(config_file, is_another_one_if_the_environment_names_it) {
  EXPECT_EQ(media_conf_path(), "/etc/qx_vod_service/media.conf");
  setenv("QX_MEDIA_CONF", path.c_str(), 1);
  EXPECT_EQ(media_conf_path(), path);
  unsetenv("QX_MEDIA_CONF");
}
