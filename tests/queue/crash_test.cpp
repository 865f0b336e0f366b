// The shipped service, killed without warning and restarted.
#include <csignal>
#include <ostream>

#include <gmock/gmock.h>

#include "tests/queue/stored_queue.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr const char* source = "/mnt/media/clip.mpg";

// The phase a job was in when the service died, and the key and name of its step.
struct standpoint {
  const char* state;
  const char* key;
  const char* step;
};

// Its name in the output of a failed test.
void PrintTo(const standpoint& where, std::ostream* out) {
  *out << where.state << ": " << where.step;
}

class crash_in : public ::testing::TestWithParam<standpoint> {};

std::string standpoint_name(const ::testing::TestParamInfo<standpoint>& info) {
  std::string name = std::string(info.param.state) + "_" + info.param.step;
  for (char& c : name) {
    c = c == ' ' ? '_' : c;
  }
  return name;
}

}  // namespace

TEST_P(crash_in, job_still_runs_to_its_end) {
  const auto& [state, key, step] = GetParam();
  stored_machine machine;
  machine.root.write("/mnt/main/tv/vod/a.mp4", "half a video");
  machine.start_with({machine.stored("a", state, {{key, step}})});
  const auto item = machine.client.wait_for_transcode_state("a", "done");
  EXPECT_EQ(item["state"], "Transcode complete");
  EXPECT_EQ(machine.root.job_status(item["fileops job id"].int_value()).at("success"), "1");
}

INSTANTIATE_TEST_SUITE_P(any_step, crash_in,
                         ::testing::Values(standpoint{"ready", "ready state", "init"},
                                           standpoint{"ready", "ready state", "check meta"},
                                           standpoint{"ready", "ready state", "query profiles"},
                                           standpoint{"ready", "ready state", "ready to transcode"},
                                           standpoint{"transcoding", "ready state", "init"},
                                           standpoint{"thumbnail", "thumbnail state", "init"},
                                           standpoint{"thumbnail", "thumbnail state", "gen"},
                                           standpoint{"thumbnail", "thumbnail state",
                                                      "metadata gen"},
                                           standpoint{"thumbnail", "thumbnail state", "done"},
                                           standpoint{"cleanup", "cleanup state", "init"},
                                           standpoint{"cleanup", "cleanup state", "unlink file"},
                                           standpoint{"cleanup", "cleanup state", "unlink meta"},
                                           standpoint{"cleanup", "cleanup state", "done"}),
                         standpoint_name);

TEST(crash, jobs_in_the_queue_file_continue) {
  stored_machine machine;
  machine.root.plan(tool::transcode, tool_plan().wait("go").write("{-o}", "video"));
  machine.root.write_source(source, "video/mp2t");
  machine.start();
  const auto id = machine.client.add_ready(source);
  machine.root.wait_for_call(tool::transcode);
  machine.wait_for_queue_file();
  machine.service.kill();
  machine.start();
  machine.root.wait_for_call(tool::transcode, 2);
  machine.root.release("go");
  machine.client.wait_for_transcode_state(id, "done");
}

TEST(crash, item_not_yet_written_is_lost_and_its_job_removed) {
  stored_machine machine;
  machine.root.write_source(source, "video/mp2t");
  machine.start();
  const auto id = machine.client.add_ready(source);
  const auto job = std::to_string(machine.client.item(id)["fileops job id"].int_value());
  machine.service.kill();
  machine.start();
  EXPECT_THAT(machine.listed_ids(), IsEmpty());
  EXPECT_THAT(machine.service.stderr_text(),
              HasSubstr("vod transcode " + job + " unknown, removing\n"));
  EXPECT_FALSE(machine.root.exists("/mnt/main/tv/fileops/jobs/" + job));
}

TEST(crash, pending_cancel_is_completed) {
  stored_machine machine;
  machine.start_with({machine.stored("a", "cancelling", {{"state", "Cancelled by user"}})});
  const auto item = machine.client.wait_for_transcode_state("a", "cancelled");
  EXPECT_EQ(item["state"], "Cancelled by user");
}

TEST(crash, source_to_be_removed_is_still_removed) {
  stored_machine machine;
  machine.start_with({machine.stored(
      "a", "cleanup", {{"cleanup state", "unlink file"}, {"delete on finish", true}})});
  machine.client.wait_for_transcode_state("a", "done");
  EXPECT_FALSE(machine.root.exists("/mnt/media/a.mpg"));
}

TEST(crash, item_removed_by_its_user_is_finally_removed) {
  stored_machine machine;
  machine.start_with({machine.stored("a", "cleanup", {{"user wants to remove", true}})});
  EXPECT_TRUE(wait_until([&] { return machine.listed_ids().empty(); }));
  EXPECT_FALSE(machine.root.exists("/mnt/main/tv/fileops/jobs/101"));
}

TEST(crash, queue_file_is_complete_whenever_the_service_dies) {
  stored_machine machine;
  machine.service.set_uptime(young_uptime_s);
  json_array items;
  for (int i = 0; i < 100; ++i) {
    items.push_back(machine.stored(std::to_string(i), "done"));
  }
  machine.start_with(items);
  for (int i = 0; i < 8; ++i) {
    machine.service.signal(SIGTERM);
    if (i % 2 == 1) {
      machine.service.wait_for_stderr("Shutting down transcode queue processes\n");
    }
    machine.service.kill();
    EXPECT_EQ(machine.queue_document()["list"].array_items().size(), 100U);
    machine.start();
  }
  EXPECT_EQ(machine.client.list()["total"].int_value(), 100);
}

TEST(crash, leftover_of_a_write_is_not_taken_for_the_queue) {
  stored_machine machine;
  machine.service.set_uptime(young_uptime_s);
  machine.root.write("/mnt/main/tv/vod.queue.js.tmp", "{\"list\": [");
  machine.start_with({machine.stored("a", "ready")});
  EXPECT_THAT(machine.listed_ids(), ElementsAre("a"));
  machine.service.stop();
  EXPECT_FALSE(machine.root.exists("/mnt/main/tv/vod.queue.js.tmp"));
  EXPECT_EQ(machine.queue_document()["list"].array_items().size(), 1U);
}
