// The nodes of a cluster, as sinfo lists them.
#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/media/slurm_nodes.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* listing = "vod vod* n1 idle 0/4/0/4\n"
                                "vod vod* n2 mix 3/5/0/8\n"
                                "vod vod* n3 alloc 4/0/0/4\n"
                                "vod vod* n4 down* 0/0/4/4\n"
                                "vod vod* n5 idle* 0/4/0/4\n"
                                "vod vod* n6 drain 0/0/4/4\n"
                                "vod vod* n7 idle~ 0/4/0/4\n"
                                "night night n8 idle 0/64/0/64\n";

}  // namespace

TEST(nodes, of_the_default_partition_are_read_unless_another_is_named) {
  EXPECT_THAT(read_nodes(listing, ""), SizeIs(7));
  EXPECT_THAT(read_nodes(listing, "vod"), SizeIs(7));
  EXPECT_THAT(read_nodes(listing, "night"), SizeIs(1));
  EXPECT_THAT(read_nodes(listing, "vo"), IsEmpty());
}

TEST(nodes, have_their_state_and_idle_processors) {
  const auto nodes = read_nodes(listing, "vod");
  ASSERT_THAT(nodes, SizeIs(7));
  EXPECT_EQ(nodes[1].name, "n2");
  EXPECT_EQ(nodes[1].state, "mix");
  EXPECT_EQ(nodes[1].idle_processors, 5);
  EXPECT_EQ(nodes[3].state, "down");
  EXPECT_FALSE(nodes[3].answers);
  EXPECT_EQ(nodes[6].state, "idle");
}

TEST(nodes, may_take_jobs_later_if_others_have_them_now) {
  std::vector<std::string> possible;
  for (const slurm_node& node : read_nodes(listing, "")) {
    if (node.may_take_jobs()) { possible.push_back(node.name); }
  }
  EXPECT_THAT(possible, ElementsAre("n1", "n2", "n3", "n7"));
}

TEST(nodes, with_a_mark_take_no_jobs_just_now) {
  for (const std::string mark : {"~", "#", "%", "!", "@", "^", "$", "-", "*"}) {
    const auto nodes = read_nodes("vod vod* n1 idle" + mark + " 0/4/0/4\n", "");
    ASSERT_THAT(nodes, SizeIs(1)) << mark;
    EXPECT_FALSE(nodes[0].takes_jobs()) << mark;
  }
}

TEST(nodes, take_jobs_if_they_answer_are_on_and_have_processors_left) {
  std::vector<std::string> taking;
  for (const slurm_node& node : read_nodes(listing, "")) {
    if (node.takes_jobs()) { taking.push_back(node.name); }
  }
  EXPECT_THAT(taking, ElementsAre("n1", "n2"));
}

TEST(nodes, offer_a_place_for_each_task_that_fits) {
  const auto nodes = read_nodes(listing, "");
  EXPECT_EQ(free_places(nodes, 4), 2);
  EXPECT_EQ(free_places(nodes, 2), 4);
  EXPECT_EQ(free_places(nodes, 5), 1);
  EXPECT_EQ(free_places({}, 1), 0);
}

TEST(nodes, are_not_read_from_lines_that_are_none) {
  EXPECT_THAT(read_nodes("", ""), IsEmpty());
  EXPECT_THAT(read_nodes("slurm_load_partitions: Unable to contact slurm controller\n"
                         "vod vod* n1 idle 0/-4/0/4\n"
                         "vod vod* n1 idle 0/99999999999999999999/0/4\n"
                         "vod vod* n1 idle 0/4\nvod vod* n1 idle /\nvod vod* n1 idle 4\n"
                         "vod vod* n1 idle\nvod vod* n1 idle 0/4/0/4 more\n\n \t\n",
                         "vod"),
              IsEmpty());
}

TEST(slurm_commands, are_those_of_usr_bin_with_the_settings_file_of_this_process) {
  unsetenv("SLURM_CONF");
  EXPECT_THAT(slurm_command("sinfo", {"-V"}), ElementsAre("/usr/bin/sinfo", "-V"));
  setenv("SLURM_CONF", "/x/slurm.conf", 1);
  EXPECT_THAT(slurm_command("sinfo", {}),
              ElementsAre("/usr/bin/env", "SLURM_CONF=/x/slurm.conf", "/usr/bin/sinfo"));
  unsetenv("SLURM_CONF");
}
