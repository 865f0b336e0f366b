// qx_vod_ctl: the client of the service's control socket.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>

#include "tools/client/service_connection.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

namespace {

constexpr subcommand subcommands[] = {
    {"status", "Show the queue at a glance", define_status},
    {"watch", "Show the queue live, with keys to control its jobs", define_watch},
    {"add", "Add media files to the queue; prints their entry ids", define_add},
    {"list", "Show the queue as a table", define_list},
    {"show", "Show all details of a job", define_show},
    {"log", "Show the logs that the tools wrote for a job", define_log},
    {"wait", "Wait until jobs are done or cancelled", define_wait},
    {"follow", "Show the progress of a job until it ends", define_follow},
    {"ready", "Start jobs that are on hold", define_item_command},
    {"modify", "Change fields of a job", define_modify},
    {"pause", "Suspend jobs", define_item_command},
    {"resume", "Resume suspended jobs", define_item_command},
    {"cancel", "Stop jobs; they stay in the queue", define_item_command},
    {"restart", "Restart cancelled jobs", define_item_command},
    {"remove", "Remove jobs from the queue", define_remove},
    {"check", "Show what the service would do with a file, without adding it", define_check},
    {"doctor", "Find out what prevents the service from working", define_doctor},
    {"queue", "List, show or restore queue files that could not be read", define_queue},
    {"report", "Collect everything about a job for a bug report", define_report},
    {"test", "Check whether the service answers", define_test},
};

constexpr const char* exit_status_help =
    "Exit status: 0 ok, 1 job failed, 2 usage, 3 no service, 4 no such job, 5 refused";

// The parser takes an operand in brackets for a list and splits it. Only files ever have such
// names, and with "./" in front the name means the same file.
void keep_brackets(std::vector<std::string>& arguments) {
  for (std::size_t i = 1; i < arguments.size() && arguments[0] == "add"; ++i) {
    if (arguments[i][0] == '[') { arguments[i].insert(0, "./"); }
  }
}

bool is_subcommand(const std::string& word) {
  return std::any_of(std::begin(subcommands), std::end(subcommands),
                     [&](const subcommand& known) { return known.name == word; });
}

bool is_for_the_whole_program(const std::string& argument) {
  return argument == "-h" || argument == "--help" || argument == "--version";
}

// Options without a subcommand are those of the one that is done then.
void name_subcommand(std::vector<std::string>& arguments) {
  const bool names_one = !arguments.empty() && arguments[0].substr(0, 1) != "-";
  if (names_one || (!arguments.empty() && is_for_the_whole_program(arguments[0]))) { return; }
  arguments.insert(arguments.begin(), "status");
}

int parse(program_parser& program, std::vector<std::string> arguments) {
  name_subcommand(arguments);
  if (!is_subcommand(arguments[0]) && !is_for_the_whole_program(arguments[0])) {
    return report_usage(program.name(),
                        "'" + arguments[0] + "' is not a subcommand: see qx_vod_ctl --help");
  }
  keep_brackets(arguments);
  return program.parse(std::move(arguments));
}

// It is a failure if the output did not reach its file.
int end_of_output(int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) { return status; }
  report("standard output", "cannot be written");
  return std::max(status, exit_job_failed);
}

int run(int argc, char** argv) {
  program_parser program("qx_vod_ctl", "");
  program.expect_subcommand("[SUBCOMMAND] [OPTIONS|--help], or --version; default: status");
  program.set_footer(exit_status_help);
  std::vector<std::pair<subcommand_parser, subcommand_action>> actions;
  for (const auto& [name, summary, define] : subcommands) {
    subcommand_parser parser = program.add_subcommand(name, summary);
    actions.emplace_back(parser, define(parser));
  }
  const int status = parse(program, {argv + std::min(argc, 1), argv + argc});
  if (status != keep_going) { return status; }
  service_connection service;
  for (const auto& [parser, action] : actions) {
    if (parser.is_given()) { return end_of_output(action(service)); }
  }
  return exit_usage;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {  // only lack of memory is left to be thrown
    std::fprintf(stderr, "qx_vod_ctl: %s\n", error.what());
    return exit_job_failed;
  }
}
