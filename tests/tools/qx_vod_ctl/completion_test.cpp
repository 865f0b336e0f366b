// Completion in bash, against the real client and queue.
#include <gmock/gmock.h>

#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

// The words that bash would offer after these, the last of which is being typed.
std::vector<std::string> offers(const ctl_machine& machine, const std::vector<std::string>& words) {
  const std::string script = "compopt() { :; }\n"
                             "source '" QX_BASH_COMPLETION "'\n"
                             "COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1))\n"
                             "_qx_vod_ctl\n"
                             "[ ${#COMPREPLY[@]} -eq 0 ] || printf '%s\\n' \"${COMPREPLY[@]}\"\n";
  std::vector<std::string> argv = {"/bin/bash", "-c", script, "bash", "qx_vod_ctl"};
  argv.insert(argv.end(), words.begin(), words.end());
  const auto result = machine.root.run(argv);
  EXPECT_EQ(result.err, "");
  return lines_of(result.out);
}

}  // namespace

TEST(ctl_completion, offers_matching_subcommands) {
  const ctl_machine machine;
  EXPECT_THAT(offers(machine, {"re"}),
              UnorderedElementsAre("ready", "restart", "remove", "report", "resume"));
}

TEST(ctl_completion, offers_the_options_of_the_subcommand) {
  const ctl_machine machine;
  EXPECT_THAT(offers(machine, {"add", "--delete"}), ElementsAre("--delete-on-finish"));
  EXPECT_THAT(offers(machine, {"list", "--s"}), ElementsAre("--start"));
}

TEST(ctl_completion, offers_the_actions_on_copies_and_their_times) {
  const ctl_machine machine;
  machine.root.write("/mnt/main/tv/vod.queue.js.unreadable-20261122T013005Z", "{");
  EXPECT_THAT(offers(machine, {"queue", ""}), ElementsAre("list", "show", "restore"));
  EXPECT_THAT(offers(machine, {"queue", "restore", ""}), ElementsAre("20261122T013005Z"));
}

TEST(ctl_completion, offers_the_ids_of_the_queue) {
  ctl_machine machine;
  machine.start_with_items({"aaaa-first", "aaaa-other", "bbbb-third"});
  EXPECT_THAT(offers(machine, {"show", "aa"}), ElementsAre("aaaa-fir", "aaaa-oth"));
}

TEST(ctl_completion, offers_cancelled_jobs_for_restart) {
  ctl_machine machine;
  machine.start();
  machine.add_done("/mnt/media/done.mpg");
  EXPECT_THAT(offers(machine, {"restart", ""}), IsEmpty());
  EXPECT_THAT(offers(machine, {"remove", ""}), ::testing::SizeIs(1));
}

TEST(ctl_completion, offers_the_states_of_the_queue) {
  ctl_machine machine;
  machine.start();
  machine.add_done("/mnt/media/done.mpg");
  EXPECT_THAT(offers(machine, {"status", "--state", ""}), ElementsAre("done"));
}

TEST(ctl_completion, offers_failed_if_a_job_has_failed) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  EXPECT_THAT(offers(machine, {"restart", "--state", ""}), ElementsAre("cancelled"));
  machine.root.plan(tool::transcode, tool_plan().exit(1));
  machine.root.write_source("/mnt/media/bad.mpg");
  machine.client.wait_for_transcode_state(machine.add("/mnt/media/bad.mpg"), "cancelled");
  EXPECT_THAT(offers(machine, {"restart", "--state", ""}), ElementsAre("cancelled", "failed"));
}

TEST(ctl_completion, offers_files_to_add) {
  const ctl_machine machine;
  machine.root.write_source("/mnt/media/clip.mpg");
  EXPECT_THAT(offers(machine, {"add", "/mnt/media/cl"}), Contains("/mnt/media/clip.mpg"));
}

TEST(ctl_completion, is_quiet_without_a_service) {
  const ctl_machine machine;
  EXPECT_THAT(offers(machine, {"show", ""}), IsEmpty());
}
