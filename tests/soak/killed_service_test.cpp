// A service that is killed without a supervisor and restarted while its transcoder is still ending:
// the two transcoders never write the same output.
#include <csignal>
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/soak/process_view.h"
#include "tests/support/media/test_media.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using namespace std::chrono_literals;

namespace {

constexpr char source[] = "/mnt/media/clip.mp4";

int parts_in(const std::string& folder) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    count += entry.path().filename().string().rfind(".qx-part-", 0) == 0 ? 1 : 0;
  }
  return count;
}

}  // namespace

TEST(killed_service, next_transcoder_waits_until_the_old_one_has_ended) {
  test_machine machine(tool_set::built);
  std::filesystem::copy_file(test_media("long.mp4"), machine.root.path(source));
  machine.start();
  const process_view view(machine.root);
  const auto id = machine.client.add_ready(source);
  auto item = machine.client.wait_for_transcode_state(id, "transcoding");
  const pid_t old_tool = machine.root.outer_pid(item["process pid"].int_value());
  ASSERT_TRUE(wait_until([&] { return view.engine_works(item); }));
  kill(old_tool, SIGSTOP);  // slow to end

  // A killed service forgets anything not yet written; another job has the queue written.
  machine.client.add({});
  ASSERT_TRUE(wait_until(
      [&] { return machine.root.queue_file().find("\"transcoding\"") != std::string::npos; }));

  machine.service.kill();
  machine.start();
  item = machine.client.wait_for_transcode_state(id, "transcoding");
  EXPECT_FALSE(wait_until([&] { return machine.client.transcode_state(id) != "transcoding"; }, 2s))
      << machine.client.state_text(id);
  kill(old_tool, SIGCONT);
  EXPECT_TRUE(wait_until([&] { return kill(old_tool, 0) != 0; }));
  EXPECT_TRUE(wait_until([&] {
    item = machine.client.item(id);
    return view.engine_works(item) && parts_in(machine.root.path("/mnt/main/tv/vod")) == 1;
  })) << machine.client.state_text(id);

  machine.client.command("cancel", id);
  machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(parts_in(machine.root.path("/mnt/main/tv/vod")), 0);
}
