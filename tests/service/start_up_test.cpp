// The shipped service, started under all kinds of circumstances.
#include <cerrno>
#include <csignal>
#include <filesystem>

#include <sys/stat.h>
#include <sys/wait.h>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

constexpr char socket_file[] = "/run/vod.transcode.service";

ino_t inode_of(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

// One of the service's signal masks, "SigCgt" or "SigIgn", from its status in /proc.
unsigned long long signal_mask(pid_t pid, const std::string& name) {
  for (const auto& line : lines_of(read_file("/proc/" + std::to_string(pid) + "/status"))) {
    if (line.rfind(name + ":", 0) == 0) {
      return std::stoull(line.substr(name.size() + 1), nullptr, 16);
    }
  }
  return 0;
}

bool has_signal(unsigned long long mask, int number) {
  return (mask >> (number - 1) & 1) != 0;
}

}  // namespace

class start_up : public ::testing::Test {
protected:
  std::string program() const { return machine.root.scratch("qx_vod_service"); }
  test_machine machine;
};

TEST_F(start_up, refuses_every_argument) {
  const auto help = machine.root.run({program(), "--help"});
  EXPECT_EQ(help.status, 1);
  EXPECT_EQ(help.err, "qx_vod_service [options]\n");
  EXPECT_EQ(machine.root.run({program(), "-x"}).err, "Unknown switch x\n");
  const auto word = machine.root.run({program(), "start"});
  EXPECT_EQ(word.status, 1);
  EXPECT_EQ(word.err, "Unexpected arg start\n");
  EXPECT_FALSE(machine.root.exists("/mnt/main/tv/vod")) << "nothing was begun";
}

TEST_F(start_up, refuses_a_second_instance_and_leaves_the_first_alone) {
  machine.start();
  const ino_t socket_before = inode_of(machine.root.path(socket_file));
  machine.root.write_queue_file("not touched");
  const auto second = machine.root.run({program()});
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.err, "I am already running\n");
  EXPECT_EQ(inode_of(machine.root.path(socket_file)), socket_before);
  EXPECT_EQ(machine.root.queue_file(), "not touched");
  EXPECT_EQ(machine.client.request("test").status(), "OK");
}

TEST_F(start_up, of_another_copy_leaves_the_socket_in_use_alone) {
  machine.start();
  const std::string copy = machine.root.scratch("another_copy");
  std::filesystem::copy_file(program(), copy);
  const auto second = machine.root.run({copy});
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.err, "Failed to create server socket at /var/run/vod.transcode.service\n");
  EXPECT_EQ(machine.client.request("test").status(), "OK");
}

TEST_F(start_up, is_possible_again_after_a_crash) {
  machine.start();
  machine.service.kill();
  EXPECT_TRUE(machine.root.exists(socket_file)) << "a stale socket file";
  machine.start();
  EXPECT_EQ(machine.client.request("test").status(), "OK");
}

TEST_F(start_up, creates_a_world_writable_output_folder) {
  machine.start();
  struct stat status {};
  ASSERT_EQ(stat(machine.root.path("/mnt/main/tv/vod").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0777U);
}

TEST_F(start_up, continues_when_the_output_folder_cannot_be_made) {
  machine.root.write("/mnt/main/tv/vod", "a file in its place");
  machine.start();
  EXPECT_EQ(machine.client.request("test").status(), "OK");
}

TEST_F(start_up, fails_if_the_socket_cannot_be_made) {
  std::filesystem::create_directory(machine.root.path(socket_file));
  machine.service.launch();
  EXPECT_EQ(machine.service.wait_for_exit().status, 1);
  EXPECT_EQ(machine.service.stderr_text(),
            "Failed to create server socket at /var/run/vod.transcode.service\n");
}

TEST_F(start_up, reads_the_queue_then_the_uptime_then_sweeps) {
  machine.root.write("/mnt/main/tv/fileops/jobs/12/status", "op=vod\n");
  machine.service.set_uptime(200);
  machine.start();
  ASSERT_TRUE(machine.service.wait_for_stderr("* new connection"));
  auto lines = machine.service.stderr_lines();
  lines.resize(3);
  EXPECT_THAT(lines, ElementsAre("Unable to open queue file",
                                 "System uptime below threshold, auto transcoding will wait",
                                 "vod transcode 12 unknown, removing"));
}

TEST_F(start_up, prints_nothing_about_a_long_uptime) {
  machine.service.set_uptime(300);
  machine.start();
  EXPECT_THAT(machine.service.stderr_text(), Not(HasSubstr("uptime")));
}

TEST_F(start_up, applies_the_settings) {
  machine.root.write_config({{"max profile", "480"}});
  machine.root.write_source("/mnt/media/clip.mpg", "video/mp4");
  machine.start();
  machine.root.write_config({{"max profile", "720"}});
  const auto profile_of_next_job = [this] {
    const auto id = machine.client.add_ready("/mnt/media/clip.mpg");
    const auto item = machine.client.wait_for_transcode_state(id, "done");
    return item["transcode profile"].string_value();
  };
  EXPECT_EQ(profile_of_next_job(), "480") << "the file is not read again";
  machine.service.restart();
  EXPECT_EQ(profile_of_next_job(), "720");
}

TEST_F(start_up, opens_the_uptime_gate_at_300_seconds) {
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.service.set_uptime(290);
  machine.start();
  const auto id = machine.client.add_ready("/mnt/media/clip.mpg");
  ASSERT_TRUE(machine.service.wait_for_stderr("auto transcoding will start\n"));
  machine.client.wait_for_transcode_state(id, "done");
  const std::string text = machine.service.stderr_text();
  const auto told = text.find("System uptime large enough, auto transcoding will start\n");
  EXPECT_LT(text.find("System uptime below threshold"), told);
  EXPECT_GT(text.find("Attempting to create metadata"), told) << "a step began too early";
  EXPECT_EQ(text.find("System uptime large enough", told + 1), std::string::npos);
}

TEST_F(start_up, catches_three_signals_and_ignores_one) {
  machine.start();
  const auto caught = signal_mask(machine.service.pid(), "SigCgt");
  const auto ignored = signal_mask(machine.service.pid(), "SigIgn");
  for (const int number : {SIGINT, SIGTERM, SIGQUIT}) {
    EXPECT_TRUE(has_signal(caught, number)) << number;
  }
  EXPECT_TRUE(has_signal(ignored, SIGPIPE));
  EXPECT_FALSE(has_signal(caught, SIGCHLD) || has_signal(ignored, SIGCHLD));
  EXPECT_FALSE(has_signal(caught, SIGHUP) || has_signal(ignored, SIGHUP));
}

TEST_F(start_up, works_with_closed_standard_streams) {
  machine.root.write_source("/mnt/media/clip.mpg");
  const pid_t pid = machine.root.spawn({"/bin/sh", "-c", "exec \"$0\" <&- >&- 2>&-", program()});
  EXPECT_TRUE(wait_until([&] { return machine.client.request("test").received(); }));
  machine.client.wait_for_transcode_state(machine.client.add_ready("/mnt/media/clip.mpg"), "done");
  kill(pid, SIGTERM);
  int status = -1;
  waitpid(pid, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(start_up, holds_no_descriptor_that_a_tool_could_inherit) {
  machine.root.write_source("/mnt/media/clip.mpg");
  machine.start();
  const raw_connection other_client(machine.client.socket_path());
  const auto id = machine.client.add_ready("/mnt/media/clip.mpg");
  machine.client.wait_for_transcode_state(id, "done");
  for (const auto& call : machine.root.calls()) {
    EXPECT_EQ(call.descriptors.size(), 3U) << call.name;
  }
}
