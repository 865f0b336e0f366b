// The order in which several jobs are stopped or started.
#include <gmock/gmock.h>
#include <json11.hpp>

#include "tests/tools/client/scripted_service.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/subcommand.h"

using ::testing::ElementsAre;

namespace {

json11::Json job(const char* id, const char* state, int pid, bool waiting = false) {
  return json11::Json::object{
      {"entry id", id}, {"transcode state", state}, {"process pid", pid}, {"waiting", waiting}};
}

// A transcode that was resumed and waits, jobs in line, and in their midst the one at work.
const json11::Json::array queue = {job("resumed", "transcoding", 7, true),
                                   job("second", "ready", -1), job("at-work", "transcoding", 8),
                                   job("fourth", "ready", -1)};

service_reply answer(const std::string& command, const name_values& pairs) {
  if (command != "list") { return accepted(""); }
  if (pairs[0].first == "entry id") { return accepted(item_json(pairs[0].second, "ready")); }
  return accepted(json11::Json(json11::Json::object{{"list", queue},
                                                    {"modify counter", 1},
                                                    {"start", 0},
                                                    {"total", static_cast<int>(queue.size())}})
                      .dump());
}

// The ids to which the command was sent.
std::vector<std::string> ids_of(const std::string& command, const subcommand_definition& define,
                                std::vector<std::string> arguments) {
  program_parser parser(command, "");
  const auto action = define(parser);
  EXPECT_EQ(parser.parse(std::move(arguments)), keep_going);
  scripted_service service(answer);
  testing::internal::CaptureStdout();
  action(service);
  testing::internal::GetCapturedStdout();
  const std::string beginning = command + " entry id=";
  std::vector<std::string> ids;
  for (const auto& line : service.asked()) {
    if (line.compare(0, beginning.size(), beginning) == 0) {
      ids.push_back(line.substr(beginning.size()));
    }
  }
  return ids;
}

}  // namespace

TEST(ctl_stopping_order, last_in_line_is_stopped_first_and_the_running_one_last) {
  for (const char* command : {"pause", "cancel"}) {
    EXPECT_THAT(ids_of(command, define_item_command, {"--all"}),
                ElementsAre("fourth", "second", "resumed", "at-work"))
        << command;
  }
}

TEST(ctl_stopping_order, holds_for_ids_in_whatever_order_they_are_given) {
  EXPECT_THAT(ids_of("pause", define_item_command, {"at-work", "second", "fourth"}),
              ElementsAre("fourth", "second", "at-work"));
  EXPECT_THAT(ids_of("pause", define_item_command, {"second", "fourth", "at-work"}),
              ElementsAre("fourth", "second", "at-work"));
}

TEST(ctl_stopping_order, holds_for_a_removal_that_stops_jobs) {
  EXPECT_THAT(ids_of("remove", define_remove, {"--all", "--yes"}),
              ElementsAre("fourth", "second", "resumed", "at-work"));
}

TEST(ctl_stopping_order, jobs_are_started_in_the_order_of_the_queue) {
  EXPECT_THAT(ids_of("restart", define_item_command, {"second", "fourth"}),
              ElementsAre("second", "fourth"));
  EXPECT_THAT(ids_of("resume", define_item_command, {"--state", "ready"}),
              ElementsAre("second", "fourth"));
}
