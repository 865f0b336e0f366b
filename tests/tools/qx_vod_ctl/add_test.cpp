// The requests that add makes, where the real service cannot be brought to answer so.
#include <gmock/gmock.h>

#include "tests/tools/client/scripted_service.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/subcommand.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

struct added {
  int exit_status = -1;
  std::string out;
  std::string err;
};

added run_add(vod_service& service, std::vector<std::string> arguments) {
  program_parser parser("add", "");
  const auto action = define_add(parser);
  EXPECT_EQ(parser.parse(std::move(arguments)), keep_going);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  added result;
  result.exit_status = action(service);
  result.out = testing::internal::GetCapturedStdout();
  result.err = testing::internal::GetCapturedStderr();
  return result;
}

service_reply added_as(const std::string& id) {
  auto reply = accepted(item_json(id, "init"));
  reply.pairs = {{"entry id", id}};
  return reply;
}

const service_reply rejected =
    refused(exit_refused, "REFUSED", item_json("a", "cancelled", "Rejected: no disk"));

}  // namespace

TEST(ctl_add, source_survives_the_removal_of_a_refused_job_that_was_to_delete_it) {
  scripted_service service([](const std::string& command, auto&) {
    if (command == "add") { return added_as("a"); }
    return command == "ready" ? rejected : accepted("");
  });
  EXPECT_EQ(run_add(service, {"--delete-on-finish", "/mnt/f"}).exit_status, exit_refused);
  EXPECT_THAT(service.asked(),
              ElementsAre("add input file=/mnt/f delete on finish=1", "ready entry id=a",
                          "modify entry id=a delete on finish=0", "remove entry id=a"));
}

TEST(ctl_add, refused_job_stays_when_its_source_cannot_be_made_safe) {
  scripted_service service([](const std::string& command, auto&) {
    if (command == "add") { return added_as("a"); }
    return command == "ready" ? rejected : refused(exit_refused, "NO");
  });
  const auto result = run_add(service, {"--delete-on-finish", "/mnt/f"});
  EXPECT_EQ(service.asked().back(), "modify entry id=a delete on finish=0");
  EXPECT_THAT(result.err, HasSubstr("/mnt/f: Rejected: no disk\n"));
  EXPECT_THAT(result.err, HasSubstr("still in the queue as a: NO\n"));
}

TEST(ctl_add, service_that_ends_between_the_two_requests_leaves_the_id) {
  scripted_service service([](const std::string& command, auto&) {
    return command == "add" ? added_as("a") : refused(exit_no_service, "went away");
  });
  const auto result = run_add(service, {"/mnt/f", "/mnt/g"});
  EXPECT_EQ(result.exit_status, exit_no_service);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "qx_vod_ctl: /mnt/f: added as a but not made ready: went away\n");
  EXPECT_EQ(service.asked().size(), 2U);
}

TEST(ctl_add, continues_after_a_refusal) {
  scripted_service service([](const std::string& command, auto& pairs) {
    if (command != "add") { return accepted(item_json("b", "ready")); }
    return pairs[0].second == "/mnt/f" ? refused(exit_refused, "NO") : added_as("b");
  });
  const auto result = run_add(service, {"/mnt/f", "/mnt/g"});
  EXPECT_EQ(result.exit_status, exit_refused);
  EXPECT_EQ(result.out, "b\n");
  EXPECT_EQ(result.err, "qx_vod_ctl: /mnt/f: NO\n");
}
