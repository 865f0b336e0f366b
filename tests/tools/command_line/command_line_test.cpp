// The conventions of every tool's command line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/command_line/command_line.h"
#include "tools/command_line/option_parser.h"

using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

namespace {

struct parsed {
  int status = 0;
  std::string file;
  std::string output;
  std::string errors;
};

parsed parse(std::vector<std::string> arguments) {
  parsed result;
  program_parser parser("tool", "A tool.");
  parser.add_option("--file", result.file, "A file");
  CaptureStdout();
  CaptureStderr();
  result.status = parser.parse(std::move(arguments));
  result.output = GetCapturedStdout();
  result.errors = GetCapturedStderr();
  return result;
}

}  // namespace

TEST(command_line, goes_on_with_what_fits) {
  const parsed result = parse({"--file", "a.mp4"});
  EXPECT_EQ(result.status, keep_going);
  EXPECT_EQ(result.file, "a.mp4");
  EXPECT_EQ(result.output + result.errors, "");
}

TEST(command_line, takes_any_value_as_it_stands) {
  for (const char* name :
       {"-x", "--file", "[a]", "[a,b]", "a=b", "%d", "'q'", "\"q\"", " ", "{}"}) {
    EXPECT_EQ(parse({"--file", name}).file, name);
    EXPECT_EQ(parse({std::string("--file=") + name}).file, name);
  }
}

TEST(command_line, wrong_option_is_one_line_and_status_2) {
  const parsed result = parse({"--fiel", "a.mp4"});
  EXPECT_EQ(result.status, exit_usage);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1);
  EXPECT_THAT(result.errors, testing::StartsWith("tool: "));
}

TEST(command_line, help_and_version_go_to_standard_output) {
  const parsed help = parse({"--help"});
  EXPECT_EQ(help.status, exit_success);
  EXPECT_THAT(help.output, HasSubstr("--file"));
  const parsed version = parse({"--version"});
  EXPECT_EQ(version.status, exit_success);
  EXPECT_EQ(version.output, "tool " QX_VERSION "\n");
}

TEST(command_line, failure_names_file_and_cause) {
  CaptureStderr();
  EXPECT_EQ(report_failure("tool", "a.mp4", "is empty"), exit_failure);
  EXPECT_EQ(GetCapturedStderr(), "tool: a.mp4: is empty\n");
}

TEST(on_one_line, makes_control_characters_visible) {
  EXPECT_EQ(on_one_line("a\nb\tc\x7f"), "a\\nb\\x09c\\x7f");
}

TEST(on_one_line, leaves_other_text_alone) {
  EXPECT_EQ(on_one_line("a \xc3\xbc %s"), "a \xc3\xbc %s");
}

TEST(option_parser, reads_what_follows_the_program_name) {
  char program[] = "/usr/bin/tool";
  char option[] = "--file";
  char value[] = "a.mp4";
  char* argv[] = {program, option, value};
  std::string file;
  program_parser parser("tool", "A tool.");
  parser.add_option("--file", file, "A file");
  EXPECT_EQ(parser.parse(3, argv), keep_going);
  EXPECT_EQ(file, "a.mp4");
}

TEST(option_parser, refuses_an_option_without_the_one_it_needs) {
  bool list = false;
  int height = 0;
  program_parser parser("tool", "A tool.");
  const declared_option listing = parser.add_flag("--list", list, "List");
  parser.add_option("--height", height, "Lines").in_range(1, 9).needs(listing);
  CaptureStderr();
  EXPECT_EQ(parser.parse({"--height", "3"}), exit_usage);
  EXPECT_EQ(parser.parse({"--list", "--height", "10"}), exit_usage);
  EXPECT_EQ(parser.parse({"--list", "--height", "9"}), keep_going);
  EXPECT_EQ(GetCapturedStderr(), "tool: --height requires --list\n"
                                 "tool: --height: Value 10 not in range 1 to 9\n");
  EXPECT_EQ(height, 9);
}

TEST(option_parser, knows_the_subcommand_that_was_given) {
  program_parser program("tool", "");
  program.expect_subcommand("WORD");
  const subcommand_parser add = program.add_subcommand("add", "Add");
  const subcommand_parser remove = program.add_subcommand("remove", "Remove");
  EXPECT_EQ(program.parse({"remove"}), keep_going);
  EXPECT_FALSE(add.is_given());
  EXPECT_TRUE(remove.is_given());
}
