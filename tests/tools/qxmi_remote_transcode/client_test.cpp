// How the tool runs the FTP client, with a stand-in in its place.
#include <csignal>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/skip.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_remote_transcode/machine.h"
#include "tools/media/left_logins.h"

using namespace qx_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace fs = std::filesystem;

namespace {

constexpr const char* name = "0f8fad5b-d9cb-469f-a165-70867728950e";

// Stores its arguments, the login file and the target of the link in /mnt.
constexpr const char* record = R"(
for last; do :; done
printf '%s\n' "$@" > /mnt/arguments
cat "$2" > /mnt/login
stat -c %a "$2" > /mnt/login.mode
stat -c %a "${2%/*}" > /mnt/folder.mode
readlink -f "$last" > /mnt/link
)";

class remote_client : public testing::Test {
protected:
  void SetUp() override {
    if (!machine.made()) { QX_SKIP_OR_FAIL_IN_CI("namespaces need privileges"); }
    machine.configure();
    source = make_source(1000);
  }

  tool_result upload() const { return run_tool("qxmi_remote_transcode", {name, source}); }

  void expect_failure(const std::string& file, const std::string& cause) const {
    const tool_result result = upload();
    EXPECT_EQ(result.end.status, 1);
    EXPECT_THAT(result.errors, ElementsAre(AllOf(HasSubstr(file), HasSubstr(cause))));
    EXPECT_THAT(machine.login_folders(), IsEmpty());
  }

  remote_machine machine;
  std::string source;
};

}  // namespace

TEST_F(remote_client, gets_the_source_under_the_upload_s_name) {
  machine.replace_client(record);
  const tool_result result = upload();
  EXPECT_EQ(result.end.status, 0);
  EXPECT_THAT(result.errors, IsEmpty());
  EXPECT_THAT(content("/mnt/arguments"),
              HasSubstr(std::string("/mnt/main/tv/upload\n/run/qx-upload-")));
  EXPECT_THAT(content("/mnt/arguments"), testing::EndsWith(std::string("/") + name + "\n"));
  EXPECT_EQ(content("/mnt/link"), source + "\n");
}

TEST_F(remote_client, reads_the_password_from_a_file_that_nobody_else_can_read) {
  machine.configure(R"(p w"'\$x%#)");
  machine.replace_client(record);
  EXPECT_EQ(upload().end.status, 0);
  EXPECT_EQ(content("/mnt/login"), "host 127.0.0.1\nuser vod\npass p w\"'\\$x%#\n");
  EXPECT_EQ(content("/mnt/login.mode"), "600\n");
  EXPECT_EQ(content("/mnt/folder.mode"), "700\n");
  EXPECT_THAT(content("/mnt/arguments"), Not(HasSubstr("p w")));
  EXPECT_THAT(machine.login_folders(), IsEmpty());
}

TEST_F(remote_client, may_have_an_empty_password) {
  machine.configure("");
  machine.replace_client(record);
  EXPECT_EQ(upload().end.status, 0);
  EXPECT_THAT(content("/mnt/login"), testing::EndsWith("pass \n"));
}

TEST_F(remote_client, that_fails_is_a_failure_in_its_own_words) {
  machine.replace_client("echo 'ncftpput: server said: no space left' >&2; exit 3");
  expect_failure(source, "server said: no space left");
}

TEST_F(remote_client, that_fails_silently_is_a_failure) {
  machine.replace_client("exit 5");
  expect_failure(source, "exit status 5");
}

TEST_F(remote_client, that_cannot_be_run_is_a_failure) {
  machine.replace_client("");
  fs::permissions("/run/client", fs::perms::owner_read);
  expect_failure(source, "cannot run /usr/bin/ncftpput");
}

TEST_F(remote_client, that_finds_nothing_to_resume_is_made_to_start_again) {
  machine.replace_client("echo run $* >> /mnt/runs; case \"$*\" in *' -z '*)\n"
                         "echo 'remote file appears to be the same, upload is not necessary.' >&2;;"
                         " esac");
  EXPECT_EQ(upload().end.status, 0);
  EXPECT_THAT(content("/mnt/runs"), testing::MatchesRegex("run .* -z .*\nrun .* -Z .*\n"));
}

TEST_F(remote_client, login_file_of_a_killed_upload_is_removed_by_the_next) {
  machine.replace_client("exit 0");
  fs::create_directories("/run/qx-upload-killed/send");
  std::ofstream("/run/qx-upload-killed/login") << "pass secret";
  fs::create_symlink(source, "/run/qx-upload-killed/send/film.ts");
  EXPECT_EQ(upload().end.status, 0);
  EXPECT_THAT(machine.login_folders(), testing::IsEmpty());
  EXPECT_TRUE(fs::exists(source));
}

TEST_F(remote_client, login_file_in_use_is_left_to_its_upload) {
  machine.replace_client("exit 0");
  fs::create_directories("/run/qx-upload-used/send");
  const unique_fd used = take_login_folder("/run/qx-upload-used");
  ASSERT_TRUE(used.valid());
  EXPECT_EQ(upload().end.status, 0);
  EXPECT_TRUE(fs::exists("/run/qx-upload-used/send"));
}

TEST_F(remote_client, login_file_of_an_upload_is_locked_while_it_runs) {
  machine.replace_client("flock -n -x /run/qx-upload-* true && touch /mnt/free; exit 0");
  EXPECT_EQ(upload().end.status, 0);
  EXPECT_FALSE(fs::exists("/mnt/free"));
}

TEST_F(remote_client, foreign_files_and_links_in_a_left_over_folder_are_not_touched) {
  machine.replace_client("exit 0");
  fs::create_directories("/run/elsewhere/send");
  std::ofstream("/run/elsewhere/login") << "mine";
  fs::create_symlink("/run/elsewhere", "/run/qx-upload-link");
  fs::create_directories("/run/qx-upload-foreign/send");
  std::ofstream("/run/qx-upload-foreign/send/precious") << "precious";
  EXPECT_EQ(upload().end.status, 0);
  EXPECT_EQ(content("/run/elsewhere/login"), "mine");
  EXPECT_EQ(content("/run/qx-upload-foreign/send/precious"), "precious");
}

TEST_F(remote_client, ends_with_the_tool_and_leaves_no_login_file) {
  machine.replace_client("echo $$ > /mnt/pid.new; mv /mnt/pid.new /mnt/pid; exec sleep 1000");
  tool_run run("qxmi_remote_transcode", {name, source});
  ASSERT_TRUE(wait_until([] { return fs::exists("/mnt/pid"); }));
  const pid_t client = std::stoi(content("/mnt/pid"));
  EXPECT_THAT(machine.login_folders(), testing::SizeIs(1));
  kill(run.pid(), SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  EXPECT_THAT(machine.login_folders(), IsEmpty());
  EXPECT_EQ(process_state(client), '\0');
  EXPECT_THAT(run.error_lines(), IsEmpty());
}

TEST_F(remote_client, sleeps_while_the_tool_is_suspended) {
  machine.replace_client("echo $$ > /mnt/pid.new; mv /mnt/pid.new /mnt/pid\n"
                         "while ! test -e /mnt/go; do sleep 0.01; done");
  tool_run run("qxmi_remote_transcode", {name, source});
  ASSERT_TRUE(wait_until([] { return fs::exists("/mnt/pid"); }));
  const pid_t client = std::stoi(content("/mnt/pid"));
  run.signal_group(SIGUSR1);
  EXPECT_TRUE(wait_until([&] { return process_state(client) == 'T'; }));
  run.signal_group(SIGUSR2);
  std::ofstream("/mnt/go") << "go";
  EXPECT_EQ(run.wait().status, 0);
}

TEST_F(remote_client, is_not_run_without_a_server) {
  machine.replace_client("touch /mnt/asked");
  fs::remove("/mnt/main/tv/vod.conf");
  expect_failure("/mnt/main/tv/vod.conf", "does not name a server");
  EXPECT_FALSE(fs::exists("/mnt/asked"));
}

TEST_F(remote_client, is_not_run_with_a_password_that_it_would_truncate) {
  machine.replace_client("touch /mnt/asked");
  machine.configure(std::string(122, 'p'));
  expect_failure("/mnt/main/tv/vod.conf", "too long for the FTP client");
  EXPECT_FALSE(fs::exists("/mnt/asked"));
}

TEST_F(remote_client, is_not_run_for_a_directory) {
  machine.replace_client("touch /mnt/asked");
  source = "/mnt/main";
  expect_failure("/mnt/main", "is a directory");
  EXPECT_FALSE(fs::exists("/mnt/asked"));
}

TEST_F(remote_client, a_source_that_changes_during_the_upload_is_a_failure) {
  machine.replace_client(
      "echo more >> \"$(readlink \"$(for last; do :; done; echo \"$last\")\")\"");
  expect_failure(source, "changed while it was sent");
}
