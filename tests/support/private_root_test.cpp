// The private root and the stand-in tools, without the service.
#include <csignal>

#include <sys/sysinfo.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/support/private_root.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

TEST(private_root, has_its_own_folders) {
  const private_root root;
  root.write("/mnt/media/a.txt", "inside");
  EXPECT_EQ(root.run({"/bin/cat", "/mnt/media/a.txt"}).out, "inside");
  EXPECT_FALSE(exists("/mnt/media/a.txt"));
  EXPECT_EQ(root.run({"/usr/bin/touch", "/var/run/mark"}).status, 0);
  EXPECT_TRUE(root.exists("/run/mark"));
  EXPECT_FALSE(exists("/run/mark"));
}

TEST(private_root, has_the_requested_uptime) {
  const private_root root;
  spawn_options options;
  options.uptime_s = 299;
  options.stdout_path = root.scratch("out");
  waitpid(root.spawn({"/bin/cat", "/proc/uptime"}, options), nullptr, 0);
  EXPECT_THAT(read_file(options.stdout_path), ::testing::StartsWith("299."));
}

TEST(private_root, two_at_once_do_not_see_each_other) {
  const private_root one;
  const private_root two;
  one.write("/mnt/media/a", "one");
  two.write("/mnt/media/a", "two");
  EXPECT_EQ(one.run({"/bin/cat", "/mnt/media/a"}).out, "one");
  EXPECT_EQ(two.run({"/bin/cat", "/mnt/media/a"}).out, "two");
}

TEST(private_root, leaves_no_process_and_no_folder) {
  pid_t pid = -1;
  std::string folder;
  {
    const private_root root;
    root.plan(tool::grab, tool_plan().catch_signal(SIGTERM).wait("never"));
    pid = root.spawn({"/usr/bin/qxmi_grab"});
    root.wait_for_call(tool::grab);
    folder = root.scratch("");
  }
  EXPECT_NE(kill(pid, 0), 0);
  EXPECT_FALSE(exists(folder));
}

TEST(private_root, disappears_when_its_test_is_killed) {
  int folder_pipe[2];
  ASSERT_EQ(pipe(folder_pipe), 0);
  const pid_t test = fork();
  if (test == 0) {
    const private_root root;
    const std::string folder = root.scratch("");
    const ssize_t put = write(folder_pipe[1], folder.data(), folder.size());
    raise(put > 0 ? SIGKILL : SIGABRT);
  }
  char folder[100] = "";
  ASSERT_GT(read(folder_pipe[0], folder, sizeof folder - 1), 0);
  waitpid(test, nullptr, 0);
  EXPECT_TRUE(wait_until([&] { return !exists(folder); })) << folder;
}

TEST(private_root, converts_inner_and_outer_process_ids) {
  const private_root root;
  root.plan(tool::grab, tool_plan().wait("go"));
  const pid_t outer = root.spawn({"/usr/bin/qxmi_grab"});
  const auto call = root.wait_for_call(tool::grab);
  EXPECT_EQ(root.outer_pid(call.pid), outer);
  EXPECT_EQ(root.inner_pid(outer), call.pid);
  EXPECT_THAT(root.processes(), ElementsAre(call.pid));
  root.release("go");
  waitpid(outer, nullptr, 0);
}

TEST(private_root, small_disk_fills_up) {
  const private_root root;
  root.mount_small_disk("/mnt/main/tv/vod", 65536);
  const auto result =
      root.run({"/usr/bin/dd", "if=/dev/zero", "of=/mnt/main/tv/vod/x", "bs=100000", "count=1"});
  EXPECT_THAT(result.err, HasSubstr("No space left"));
  EXPECT_EQ(root.read("/mnt/main/tv/vod/x").size(), 65536U);
}

TEST(private_root, broken_tool_cannot_be_executed) {
  const private_root root;
  root.break_tool("qxmi_grab");
  EXPECT_EQ(root.run({"/usr/bin/qxmi_grab"}).status, 127);
}

TEST(stand_in_tool, records_how_it_was_called) {
  const private_root root;
  root.run({"/usr/bin/qxmi_grab", "-o", "/mnt/media/with blank.jpg", ""});
  const auto call = root.wait_for_call(tool::grab);
  EXPECT_THAT(call.argv, ElementsAre("/usr/bin/qxmi_grab", "-o", "/mnt/media/with blank.jpg", ""));
  EXPECT_EQ(call.descriptors.size(), 3U);
  EXPECT_EQ(call.descriptors.at(0), "/dev/null");
  EXPECT_EQ(call.session, call.pid);
  EXPECT_EQ(call.group, call.pid);
  EXPECT_EQ(call.environment.at("LC_ALL"), "C");
  EXPECT_TRUE(root.exists("/mnt/media/with blank.jpg"));
}

TEST(stand_in_tool, follows_its_plan_for_each_run) {
  const private_root root;
  root.plan(tool::quote, tool_plan().print("any bytes: % \xff\n").exit(3));
  root.plan_call(tool::quote, 2, tool_plan().print_error("second").die(SIGSEGV));
  const std::vector<std::string> argv = {"/usr/bin/qxmi_vod_transcode", "--quote"};
  const auto first = root.run(argv);
  EXPECT_EQ(first.out, "any bytes: % \xff\n");
  EXPECT_EQ(first.status, 3);
  const auto second = root.run(argv);
  EXPECT_EQ(second.err, "second");
  EXPECT_EQ(second.status, 128 + SIGSEGV);
}

TEST(stand_in_tool, catches_signals_and_waits) {
  const private_root root;
  root.plan(tool::transcode, tool_plan().catch_signal(SIGUSR1).mark("up").wait("go").exit(5));
  const pid_t pid = root.spawn({"/usr/bin/qxmi_vod_transcode"});
  ASSERT_TRUE(root.wait_for_mark("up"));
  const auto call = root.wait_for_call(tool::transcode);
  kill(pid, SIGUSR1);
  EXPECT_TRUE(wait_until([&] { return call.signals() == std::vector<int>{SIGUSR1}; }));
  root.release("go");
  int status = 0;
  waitpid(pid, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 5);
}

TEST(stand_in_tool, only_removes_below_mnt) {
  const private_root root;
  root.write("/mnt/media/folder/file", "x");
  root.write("/run/other/file", "x");
  root.run({"/bin/rm", "-Rfv", "--", "/mnt/media/folder", "/run/other"});
  EXPECT_FALSE(root.exists("/mnt/media/folder"));
  EXPECT_TRUE(root.exists("/run/other/file"));
}

TEST(stand_in_tool, is_named_after_the_request_it_makes) {
  const private_root root;
  root.plan("curl.add", tool_plan().print("added"));
  EXPECT_EQ(root.run({"/usr/bin/curl", "http://server/vod.cgi?c=vodsrv&vc=add"}).out, "added");
  EXPECT_EQ(root.run({"/usr/bin/curl", "http://server/vod.cgi?c=vodsrv&vc=list"}).out, "");
  EXPECT_EQ(root.calls("curl.list").size(), 1U);
}
