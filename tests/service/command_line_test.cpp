// The command line: any argument is refused.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "service/command_line.h"

namespace {

// The output for these arguments; "accepted" if they are.
std::string verdict(std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "qx_vod_service");
  const auto count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  ::testing::internal::CaptureStderr();
  const bool accepted = check_command_line(count, arguments.data());
  const std::string printed = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(accepted, printed.empty());
  return accepted ? "accepted" : printed;
}

}  // namespace

TEST(command_line, without_arguments_is_accepted) {
  EXPECT_EQ(verdict({}), "accepted");
}

TEST(command_line, help_prints_the_usage) {
  for (const char* argument : {"-h", "--h", "---h", "-help", "--help", "---help"}) {
    EXPECT_EQ(verdict({argument}), "qx_vod_service [options]\n") << argument;
  }
}

TEST(command_line, other_option_is_named_without_its_dashes) {
  EXPECT_EQ(verdict({"-v"}), "Unknown switch v\n");
  EXPECT_EQ(verdict({"---no-such"}), "Unknown switch no-such\n");
  EXPECT_EQ(verdict({"--helpful"}), "Unknown switch helpful\n");
  EXPECT_EQ(verdict({"-H"}), "Unknown switch H\n");
  EXPECT_EQ(verdict({"-h "}), "Unknown switch h \n");
  EXPECT_EQ(verdict({"--"}), "Unknown switch \n");
}

TEST(command_line, argument_without_dash_is_named) {
  EXPECT_EQ(verdict({"help"}), "Unexpected arg help\n");
  EXPECT_EQ(verdict({"h-"}), "Unexpected arg h-\n");
  EXPECT_EQ(verdict({""}), "Unexpected arg \n");
}

TEST(command_line, only_the_first_argument_counts) {
  EXPECT_EQ(verdict({"-x", "-h"}), "Unknown switch x\n");
  EXPECT_EQ(verdict({"-h", "x"}), "qx_vod_service [options]\n");
}
