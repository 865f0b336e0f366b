// A restart of a job whose tool has not ended yet.
#include <algorithm>

#include <gmock/gmock.h>

#include "tests/tools/client/scripted_service.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

using ::testing::ElementsAre;
using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

namespace {

// A service that refuses the first restart. From then on the job goes through these states, one at
// each look, and stays in the last.
class refusing_service {
public:
  explicit refusing_service(std::vector<std::string> states) : states_(std::move(states)) {}

  service_reply answer(const std::string& command) {
    if (command == "list") { return accepted(item_json("a", next_state())); }
    const bool is_accepted = refused_ && states_.front() == "cancelled";
    refused_ = true;
    return is_accepted ? accepted(item_json("a", "ready", "Restarted by user"))
                       : refused(exit_refused, "ITEM CANNOT BE CANCELLED");
  }

private:
  std::string next_state() {
    std::string state = states_.front();
    if (refused_ && states_.size() > 1) { states_.erase(states_.begin()); }
    return state;
  }

  std::vector<std::string> states_;
  bool refused_ = false;
};

struct restart_result {
  int status;
  std::string out, err;
  std::vector<std::string> asked;
};

restart_result restart(std::vector<std::string> states) {
  refusing_service answers(std::move(states));
  program_parser parser("restart", "");
  const auto action = define_item_command(parser);
  EXPECT_EQ(parser.parse({"a"}), keep_going);
  scripted_service service(
      [&](const std::string& command, const name_values&) { return answers.answer(command); });
  CaptureStdout();
  CaptureStderr();
  const int status = action(service);
  return {status, GetCapturedStdout(), GetCapturedStderr(), service.asked()};
}

}  // namespace

TEST(ctl_restart, waits_until_the_tool_of_a_cancelled_job_has_ended) {
  const auto result = restart({"cancelling", "cancelling", "cancelled"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "a  ready  Restarted by user\n");
  EXPECT_EQ(result.err, "");
}

TEST(ctl_restart, is_repeated_if_the_tool_ended_just_after_the_refusal) {
  EXPECT_EQ(restart({"cancelled"}).status, 0);
}

TEST(ctl_restart, of_a_job_that_is_not_cancelled_is_refused_at_once) {
  const auto result = restart({"done"});
  EXPECT_EQ(result.status, exit_refused);
  EXPECT_EQ(std::count(result.asked.begin(), result.asked.end(), "restart entry id=a"), 1);
}
