// A file on its way from "add" to "done" on one machine, with simulated tools.
#include <csignal>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

constexpr const char* source = "/mnt/media/clip.mpg";

std::vector<std::string> names_of(const std::vector<tool_call>& calls) {
  std::vector<std::string> names;
  names.reserve(calls.size());
  for (const auto& call : calls) {
    names.push_back(call.name);
  }
  return names;
}

}  // namespace

TEST(local_job, goes_from_add_to_done) {
  test_machine machine;
  machine.root.write_source(source);
  machine.start();
  const auto id = machine.client.add_ready(source);
  const auto item = machine.client.wait_for_transcode_state(id, "done");

  EXPECT_EQ(item["state"].string_value(), "Transcode complete");
  EXPECT_EQ(item["transcode profile"].string_value(), "1080");
  EXPECT_EQ(item["transcode progress"][0].int_value(), 10000);
  EXPECT_THAT(names_of(machine.root.calls()),
              ElementsAre("startitem", "quote", "transcode", "grab", "startitem"));
}

TEST(local_job, leaves_video_picture_metadata_and_ready_marker) {
  test_machine machine;
  machine.root.write_source(source, "video/mp2t");
  machine.start();
  const auto id = machine.client.add_ready(source);
  const auto output =
      machine.client.wait_for_transcode_state(id, "done")["output file"].string_value();

  ASSERT_THAT(output, ::testing::StartsWith("/mnt/main/tv/vod/"));
  const auto slash = output.rfind('/');
  const auto metadata = output.substr(0, slash) + "/." + output.substr(slash + 1) + ".metadata";
  EXPECT_EQ(machine.root.read(output), "stand-in video\n");
  EXPECT_TRUE(machine.root.exists(metadata + "/vod.thumbnail.jpg"));
  EXPECT_TRUE(machine.root.exists(metadata + "/.vod.ready"));
  EXPECT_THAT(machine.root.read(metadata + "/.vod.metadata"), HasSubstr("file type=video/mp2t"));
}

TEST(local_job, writes_its_status_to_its_job_folder) {
  test_machine machine;
  machine.root.write_source(source);
  machine.start();
  const auto id = machine.client.add_ready(source);
  const auto item = machine.client.wait_for_transcode_state(id, "done");

  const auto status = machine.root.job_status(item["fileops job id"].int_value());
  EXPECT_EQ(status.at("op"), "vod");
  EXPECT_EQ(status.at("transcode state"), "done");
  EXPECT_EQ(status.at("success"), "1");
  EXPECT_EQ(status.at("entry id"), id);
}

TEST(local_job, transcodes_with_the_chosen_profile_at_low_priority) {
  test_machine machine;
  machine.root.write_config({{"max profile", "720"}});
  machine.root.write_source(source, "video/mp4");
  machine.start();
  const auto id = machine.client.add_ready(source);
  const auto call = machine.root.wait_for_call(tool::transcode);

  const auto output = machine.client.item(id)["output file"].string_value();
  EXPECT_THAT(call.argv,
              ElementsAre("/usr/bin/qxmi_vod_transcode", "-d", "7", "--cpu-cap", "70", "--profile",
                          "720", "-f", "mp4", "-o", output, "--file", source));
  EXPECT_EQ(call.nice, 19);
  EXPECT_EQ(call.session, call.pid);
  EXPECT_EQ(call.descriptors.size(), 3U) << "a tool inherits its standard streams alone";
}

TEST(local_job, progress_follows_the_transcoder) {
  test_machine machine;
  machine.root.plan(tool::transcode, tool_plan()
                                         .print("Encoding: frame=1/4\n")
                                         .wait("half")
                                         .print("Encoding: frame=2/4\n")
                                         .wait("end")
                                         .write("{-o}", "video"));
  machine.root.write_source(source);
  machine.start();
  const auto id = machine.client.add_ready(source);
  machine.client.wait_for_progress(id, 2500);
  machine.root.release("half");
  machine.client.wait_for_progress(id, 5000);
  machine.root.release("end");
  machine.client.wait_for_transcode_state(id, "done");
}

TEST(local_job, waits_while_the_machine_has_just_booted) {
  test_machine machine;
  machine.service.set_uptime(290);
  machine.root.write_source(source);
  machine.start();
  EXPECT_TRUE(machine.service.wait_for_stderr("auto transcoding will wait\n"));
  const auto id = machine.client.add_ready(source);
  EXPECT_TRUE(machine.service.wait_for_stderr("auto transcoding will start\n"));
  machine.client.wait_for_transcode_state(id, "done");
}

TEST(local_job, interrupted_transcode_starts_again_with_the_service) {
  test_machine machine;
  machine.root.plan_call(tool::transcode, 1, tool_plan().wait("never"));
  machine.root.write_source(source);
  machine.start();
  const auto id = machine.client.add_ready(source);
  machine.root.wait_for_call(tool::transcode);
  machine.service.restart();
  EXPECT_EQ(machine.root.wait_for_call(tool::transcode, 2).number, 2);
  machine.client.wait_for_transcode_state(id, "done");
}
