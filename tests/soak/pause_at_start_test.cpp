// Pauses and resumes at random moments after the start of a transcode: none is lost, none is fatal.
// QX_SOAK_STARTS is the number of transcodes to start.
#include <filesystem>

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/soak/process_view.h"
#include "tests/support/media/test_media.h"
#include "tests/support/wait_until.h"

using namespace qx_test;

namespace {

constexpr char source[] = "/mnt/media/clip.mp4";

// The kind of script a user might write around another encoder.
constexpr char script[] = R"(#!/bin/sh
case "$*" in *--quote*) printf '*QUOTE\n.. 720\n'; exit 0;; esac
trap 'echo suspended > /mnt/script.state' USR1
trap 'echo working > /mnt/script.state' USR2
while :; do sleep 0.02; done
)";

class pause_at_start : public ::testing::Test {
protected:
  static long starts() { return soak_setting("QX_SOAK_STARTS", 12); }

  // The job's transcoder has just been started; every other time a little earlier.
  static std::string start_job(const test_machine& machine) {
    const auto id = machine.client.add_ready(source);
    machine.client.wait_for_transcode_state(id, "transcoding");
    usleep(random_below(2) * random_below(15000));
    return id;
  }
  static void end_job(const test_machine& machine, const std::string& id) {
    machine.client.command("cancel", id);
    machine.client.wait_for_transcode_state(id, "cancelled");
    EXPECT_EQ(machine.client.state_text(id), "Cancelled by user");
    machine.client.command("remove", id);
  }
};

}  // namespace

TEST_F(pause_at_start, reaches_the_shipped_transcoder) {
  test_machine machine(tool_set::built);
  std::filesystem::copy_file(test_media("long.mp4"), machine.root.path(source));
  machine.start();
  const process_view view(machine.root);
  for (long i = 0; i < starts(); ++i) {
    const auto id = start_job(machine);
    machine.client.command("pause", id);
    for (unsigned more = random_below(4); more > 0; --more) {
      usleep(random_below(3000));
      machine.client.command("resume", id);
      usleep(random_below(3000));
      machine.client.command("pause", id);
    }
    ASSERT_TRUE(view.comes_to_rest(machine.client.item(id))) << "start " << i;
    EXPECT_EQ(machine.client.state_text(id), "Paused") << "start " << i;
    machine.client.command("resume", id);
    ASSERT_TRUE(wait_until([&] { return view.engine_works(machine.client.item(id)); }))
        << "start " << i << ": " << machine.client.state_text(id);
    end_job(machine, id);
  }
}

TEST_F(pause_at_start, reaches_a_shell_script) {
  test_machine machine;
  machine.root.write("/mnt/transcode.sh", script);
  ASSERT_EQ(chmod(machine.root.path("/mnt/transcode.sh").c_str(), 0755), 0);
  ASSERT_EQ(machine.root.run_inside([] {
    return mount("/mnt/transcode.sh", "/usr/bin/qxmi_vod_transcode", nullptr, MS_BIND, nullptr);
  }),
            0);
  machine.root.write_source(source, "video/mp4");
  machine.start();
  const auto comes_to = [&](const std::string& state) {
    return wait_until([&] { return machine.root.read("/mnt/script.state") == state + "\n"; });
  };
  for (long i = 0; i < starts(); ++i) {
    machine.root.write("/mnt/script.state", "started\n");
    const auto id = start_job(machine);
    machine.client.command("pause", id);
    ASSERT_TRUE(comes_to("suspended")) << "start " << i << ": " << machine.client.state_text(id);
    machine.client.command("resume", id);
    ASSERT_TRUE(comes_to("working")) << "start " << i << ": " << machine.client.state_text(id);
    end_job(machine, id);
  }
}
