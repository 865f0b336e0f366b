// The doctor's judgements of a cluster.
#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/doctor/cluster.h"
#include "tools/qx_vod_ctl/doctor/node_answers.h"

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

tool_config slurm_config(const std::string& partition = "") {
  tool_config config;
  config.spread = "slurm";
  config.spread_partition = partition;
  return config;
}

node_question question(int nodes) {
  node_question asked;
  asked.folder = "/vod";
  asked.nodes = nodes;
  asked.tool = "tool 1";
  asked.engine = "ffmpeg 5";
  asked.parts = "77 9";
  asked.begin = 1000;
  asked.end = 1004;
  return asked;
}

auto is(const std::string& check, finding_result result, const std::string& text) {
  return AllOf(Field(&finding::check, check), Field(&finding::result, result),
               Field(&finding::text, HasSubstr(text)));
}

}  // namespace

TEST(doctor_of_clusters, says_nothing_where_transcodes_stay_on_this_machine) {
  EXPECT_THAT(check_cluster(tool_config(), "/tmp"), IsEmpty());
}

TEST(doctor_of_clusters, counts_nodes_and_free_places) {
  const finding nodes =
      judge_nodes("vod vod* n1 idle 0/8/0/8\nvod vod* n2 alloc 8/0/0/8\n", slurm_config());
  EXPECT_EQ(nodes.result, finding_result::ok);
  EXPECT_EQ(nodes.text, "2 in the default partition, with 2 free places for tasks of 4 processors");
}

TEST(doctor_of_clusters, names_the_nodes_that_are_lost) {
  const finding nodes = judge_nodes("vod vod* n1 idle 0/8/0/8\nvod vod* n2 down* 0/0/8/8\n"
                                    "vod vod* n3 drain 0/0/8/8\nvod vod* n4 idle* 0/8/0/8\n",
                                    slurm_config("vod"));
  EXPECT_EQ(nodes.result, finding_result::warning);
  EXPECT_THAT(nodes.text, HasSubstr("; not available: n2, n3, n4"));
}

TEST(doctor_of_clusters, misses_a_partition_without_nodes) {
  EXPECT_THAT(judge_nodes("vod vod* n1 idle 0/8/0/8\n", slurm_config("video")),
              is("cluster nodes", finding_result::problem, "none in video"));
}

TEST(doctor_of_clusters, is_content_with_equal_nodes) {
  const finding_list findings = judge_answers(
      "n1|1002|tool 1|ffmpeg 5|77 9|written\nn2|1003|tool 1|ffmpeg 5|77 9|written\n", question(2));
  EXPECT_THAT(findings, SizeIs(3));
  EXPECT_THAT(findings, Each(Field(&finding::result, finding_result::ok)));
}

TEST(doctor_of_clusters, names_the_nodes_without_the_folder) {
  EXPECT_THAT(judge_answers("n1|1002|tool 1|ffmpeg 5|77 9|written\nn2|1003|tool 1|ffmpeg 5|77 9|\n",
                            question(2)),
              testing::Contains(is("cluster folder", finding_result::problem,
                                   "/vod of this machine is not seen by n2")));
}

TEST(doctor_of_clusters, names_the_nodes_that_cannot_write_to_the_folder) {
  EXPECT_THAT(judge_answers("n1|1002|tool 1|ffmpeg 5|77 9|written\n"
                            "n2|1003|tool 1|ffmpeg 5|77 9|seen\n",
                            question(2)),
              testing::Contains(is("cluster folder", finding_result::problem,
                                   "/vod cannot be written to by n2")));
}

TEST(doctor_of_clusters, names_the_nodes_with_another_transcoder) {
  EXPECT_THAT(
      judge_answers("n1|1002||ffmpeg 5|77 9|written\nn2|1003|tool 2|ffmpeg 5|77 9|written\n",
                    question(2)),
      testing::Contains(is("cluster versions", finding_result::problem,
                           "qxmi_vod_transcode is missing or another one on n1, n2")));
}

TEST(doctor_of_clusters, names_the_nodes_with_another_ffmpeg) {
  EXPECT_THAT(judge_answers("n1|1002|tool 1|ffmpeg 6|66 9|written\n", question(1)),
              testing::Contains(
                  is("cluster versions", finding_result::problem, "ffmpeg is missing or another")));
}

TEST(doctor_of_clusters, names_the_nodes_with_other_libraries_of_ffmpeg) {
  EXPECT_THAT(judge_answers("n1|1002|tool 1|ffmpeg 5|77 9|written\n"
                            "n2|1002|tool 1|ffmpeg 5|78 9|written\n",
                            question(2)),
              testing::Contains(is("cluster versions", finding_result::problem,
                                   "the libraries of ffmpeg are others on n2")));
}

TEST(doctor_of_clusters, names_the_nodes_with_a_wrong_clock) {
  EXPECT_THAT(
      judge_answers("n1|969|tool 1|ffmpeg 5|77 9|written\nn2|1035|tool 1|ffmpeg 5|77 9|written\n"
                    "n3|970|tool 1|ffmpeg 5|77 9|written\nn4|1034|tool 1|ffmpeg 5|77 9|written\n",
                    question(4)),
      testing::Contains(
          is("cluster clock", finding_result::warning, "differs by more than 30 s on n1, n2")));
}

TEST(doctor_of_clusters, counts_the_nodes_that_do_not_answer) {
  EXPECT_THAT(
      judge_answers("srun: error: n2: task 1: Exited\n", question(2)),
      ElementsAre(is("cluster nodes", finding_result::warning, "2 nodes asked, 0 answered")));
}

TEST(doctor_of_clusters, names_no_more_than_five_nodes) {
  std::string listing;
  for (const char* const name : {"a", "b", "c", "d", "e", "f", "g"}) {
    listing += std::string("vod vod* ") + name + " down 0/0/4/4\n";
  }
  EXPECT_THAT(judge_nodes(listing, slurm_config()).text,
              HasSubstr("not available: a, b, c, d, e and 2 more"));
}

TEST(doctor_of_clusters, shows_no_control_characters_of_a_node) {
  const finding_list findings = judge_answers("n\033[1m|1002|tool 1|ffmpeg 5|77 9|\n", question(1));
  EXPECT_THAT(findings,
              testing::Contains(is("cluster folder", finding_result::problem, "n\\x1b[1m")));
}
