// wait, with the real service coming and going.
#include <gmock/gmock.h>

#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

TEST(ctl_wait, ends_with_0_when_the_job_is_done) {
  ctl_machine machine;
  machine.start();
  const std::string id = machine.add_transcoding("/mnt/media/clip.mpg");
  const auto waiting = machine.start_ctl({"wait", id.substr(0, 8)});
  machine.root.release("go");
  const auto result = waiting.finish();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, StartsWith(id + "  done"));
  EXPECT_EQ(result.err, "");
}

TEST(ctl_wait, ends_with_1_when_the_job_fails) {
  ctl_machine machine;
  machine.start();
  machine.root.plan(tool::transcode, tool_plan().exit(1));
  machine.root.write_source("/mnt/media/clip.mpg");
  const std::string id = machine.add("/mnt/media/clip.mpg");
  const auto result = machine.ctl({"wait", id});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out, StartsWith(id + "  cancelled  "));
}

TEST(ctl_wait, waits_for_all_of_several) {
  ctl_machine machine;
  machine.start();
  machine.root.write_source("/mnt/media/two.mpg");
  const std::string one = machine.add_transcoding("/mnt/media/one.mpg");
  const std::string two = machine.add("/mnt/media/two.mpg");
  const auto waiting = machine.start_ctl({"wait", one, two, one});
  machine.root.release("go");
  const auto result = waiting.finish();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(lines_of(result.out),
              UnorderedElementsAre(StartsWith(one + "  done"), StartsWith(two + "  done")));
}

TEST(ctl_wait, unknown_id_ends_with_4) {
  ctl_machine machine;
  machine.start();
  EXPECT_EQ(machine.ctl({"wait", "absent"}).status, 4);
}

// A finished job is waited for first: when it is printed, the ids are resolved and the client waits
// for the other one.
struct waited_for {
  explicit waited_for(ctl_machine& machine) {
    machine.start();
    finished = machine.add_done("/mnt/media/finished.mpg");
    id = machine.add_transcoding("/mnt/media/clip.mpg");
    machine.service.restart();
    machine.root.wait_for_call(tool::transcode, 3);
  }
  running_client start(const ctl_machine& machine) const {
    auto client = machine.start_ctl({"wait", finished, id});
    EXPECT_TRUE(client.wait_for_stdout(finished));
    return client;
  }
  std::string finished;
  std::string id;
};

TEST(ctl_wait, survives_a_killed_service) {
  ctl_machine machine;
  const waited_for jobs(machine);
  const auto waiting = jobs.start(machine);
  machine.service.kill();
  ASSERT_TRUE(waiting.wait_for_stderr("still waiting"));
  machine.service.start();
  ASSERT_TRUE(waiting.wait_for_stderr("the service is back"));
  machine.root.release("go");
  const auto result = waiting.finish();
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(lines_of(result.err).size(), 2U) << result.err;
}

TEST(ctl_wait, job_that_a_killed_service_forgot_ends_with_4) {
  ctl_machine machine;
  const waited_for jobs(machine);
  const auto waiting = jobs.start(machine);
  machine.service.kill();
  machine.root.write_queue_file("{\"list\":[]}");
  machine.service.start();
  const auto result = waiting.finish();
  EXPECT_EQ(result.status, 4);
  EXPECT_THAT(result.err, HasSubstr(jobs.id + ": no longer in the queue\n"));
}

TEST(ctl_wait, removed_job_ends_with_4) {
  ctl_machine machine;
  machine.start();
  const std::string finished = machine.add_done("/mnt/media/finished.mpg");
  const std::string held = machine.client.add_file("/mnt/media/finished.mpg");
  const auto waiting = machine.start_ctl({"wait", finished, held});
  ASSERT_TRUE(waiting.wait_for_stdout(finished));
  machine.client.command("remove", held);
  const auto result = waiting.finish();
  EXPECT_EQ(result.status, 4);
  EXPECT_THAT(result.err, HasSubstr(held + ": no longer in the queue\n"));
}
