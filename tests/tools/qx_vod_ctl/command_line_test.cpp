// Wrong command lines, help, and a service that is not there.
#include <gmock/gmock.h>

#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

const std::vector<std::string> all_subcommands = {"status", "follow",  "add",    "list",  "show",
                                                  "wait",   "ready",   "modify", "pause", "resume",
                                                  "cancel", "restart", "remove", "test"};

bool stands_alone(const std::string& subcommand) {
  return subcommand == "list" || subcommand == "test" || subcommand == "status";
}

// Of 80 columns and 24 lines, one of them for the prompt.
void expect_fits_a_screen(const std::string& text) {
  EXPECT_LE(lines_of(text).size(), 23U) << text;
  for (const auto& line : lines_of(text)) {
    EXPECT_LE(line.size(), 80U) << line;
  }
}

}  // namespace

TEST(ctl_command_line, wrong_ones_end_with_2_and_one_line) {
  const ctl_machine machine;
  const std::vector<std::vector<std::string>> wrong = {{"nonsense"},
                                                       {"--nonsense"},
                                                       {"status", "extra"},
                                                       {"status", "--state", "Done"},
                                                       {"status", "--color", "red"},
                                                       {"add"},
                                                       {"add", ""},
                                                       {"add", "--nonsense", "file"},
                                                       {"show"},
                                                       {"show", "a", "b"},
                                                       {"show", ""},
                                                       {"show", "job:x"},
                                                       {"pause"},
                                                       {"pause", "a", "--all"},
                                                       {"cancel", "--all", "--state", "ready"},
                                                       {"cancel", "--state", "finished"},
                                                       {"add", "--hold", "--wait", "file"},
                                                       {"add", "--profile", "../../x", "file"},
                                                       {"check", "--profile", "a/b", "file"},
                                                       {"modify", "a", "transcode profile=../../x"},
                                                       {"remove"},
                                                       {"follow", "a", "b"},
                                                       {"modify", "a"},
                                                       {"modify", "a", "paused"},
                                                       {"modify", "a", "=1"},
                                                       {"modify", "a", "entry id=b"},
                                                       {"modify", "a", "fileops job id=7"},
                                                       {"list", "extra"},
                                                       {"list", "--start", "-1"},
                                                       {"list", "--start", "5", "--end", "4"},
                                                       {"test", "extra"}};
  for (const auto& arguments : wrong) {
    const auto result = machine.ctl(arguments);
    const std::string shown = ::testing::PrintToString(arguments);
    EXPECT_EQ(result.status, 2) << shown;
    EXPECT_EQ(result.out, "") << shown;
    EXPECT_EQ(lines_of(result.err).size(), 1U) << shown << result.err;
    EXPECT_THAT(result.err, ::testing::StartsWith("qx_vod_ctl: ")) << shown;
  }
}

TEST(ctl_command_line, unknown_subcommand_is_named) {
  EXPECT_EQ(ctl_machine().ctl({"nonsense"}).err,
            "qx_vod_ctl: 'nonsense' is not a subcommand: see qx_vod_ctl --help\n");
}

TEST(ctl_command_line, help_and_version_end_with_0) {
  const ctl_machine machine;
  const auto help = machine.ctl({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const auto& subcommand : all_subcommands) {
    EXPECT_THAT(help.out, HasSubstr("\n  " + subcommand + " "));
  }
  EXPECT_THAT(help.out, HasSubstr("\n  watch "));
  EXPECT_THAT(help.out, HasSubstr("\n  queue "));
  expect_fits_a_screen(help.out);
  EXPECT_EQ(machine.ctl({"--version"}).status, 0);
}

TEST(ctl_command_line, every_subcommand_has_help_that_fits_a_screen) {
  const ctl_machine machine;
  auto helped = all_subcommands;
  helped.insert(helped.end(), {"watch", "queue"});
  for (const auto& subcommand : helped) {
    const auto help = machine.ctl({subcommand, "--help"});
    EXPECT_EQ(help.status, 0) << subcommand;
    EXPECT_THAT(help.out, HasSubstr("Usage: qx_vod_ctl " + subcommand)) << subcommand;
    expect_fits_a_screen(help.out);
  }
}

TEST(ctl_command_line, every_subcommand_ends_with_3_without_a_service) {
  const ctl_machine machine;
  for (const auto& subcommand : all_subcommands) {
    std::vector<std::string> arguments = {subcommand};
    if (!stands_alone(subcommand)) { arguments.emplace_back("operand"); }
    if (subcommand == "modify") { arguments.emplace_back("paused=1"); }
    const auto result = machine.ctl(arguments);
    EXPECT_EQ(result.status, 3) << subcommand;
    EXPECT_EQ(result.err,
              "qx_vod_ctl: no service at /var/run/vod.transcode.service; start it with: "
              "systemctl start qx-vod\n");
    EXPECT_EQ(result.out, "") << subcommand;
  }
}

TEST(ctl_command_line, stopped_service_is_waited_for_ten_seconds) {
  ctl_machine machine;
  machine.start();
  machine.service.signal(SIGSTOP);
  const auto result = machine.ctl({"test"});
  machine.service.signal(SIGCONT);
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "qx_vod_ctl: the service does not answer; see: qx_vod_ctl doctor\n");
}

TEST(ctl_command_line, output_that_cannot_be_written_is_a_failure) {
  ctl_machine machine;
  machine.start();
  const auto result = machine.root.run({"/bin/sh", "-c", "/usr/bin/qx_vod_ctl test >/dev/full"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.err, HasSubstr("standard output: cannot be written"));
}
