// Uploads to a real FTP server.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include <sys/mount.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/skip.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_remote_transcode/machine.h"

using namespace qx_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

namespace {

constexpr const char* name = "0f8fad5b-d9cb-469f-a165-70867728950e";
const std::string arrived = std::string("/mnt/main/tv/upload/") + name;
constexpr std::size_t mebibyte = 1U << 20U;

std::vector<std::string> names_on_server() {
  std::vector<std::string> names;
  std::error_code none_yet;
  for (const auto& entry : fs::directory_iterator("/mnt/main/tv/upload", none_yet)) {
    names.push_back(entry.path().filename());
  }
  return names;
}

// How much of `file` the FTP client has read, as the service finds it out; -1 before it has begun.
long client_position(const std::string& file) {
  for (const auto& process : fs::directory_iterator("/proc")) {
    std::error_code gone;
    if (fs::read_symlink(process.path() / "exe", gone) != "/usr/bin/ncftpput") { continue; }
    for (const auto& fd : fs::directory_iterator(process.path() / "fd", gone)) {
      if (fs::read_symlink(fd.path(), gone) != file) { continue; }
      std::ifstream info(process.path() / "fdinfo" / fd.path().filename());
      std::string word;
      long position = -1;
      info >> word >> position;
      return position;
    }
  }
  return -1;
}

class remote_server : public testing::Test {
protected:
  // False, and the test is skipped, where there can be no server.
  bool start(int rate = 0) {
    if (!machine.made() || !machine.start_server(rate)) { return false; }
    machine.configure();
    return true;
  }

  // Begins an upload and ends it by SIGTERM when the client has read a part of the file. The
  // server is a new one then, so that nothing of the old session is still under way.
  void interrupt_upload(const std::string& source) {
    tool_run run("qxmi_remote_transcode", {name, source});
    ASSERT_TRUE(wait_until([&] { return client_position(source) > long(mebibyte); }));
    run.signal_group(SIGTERM);
    EXPECT_EQ(run.wait().signal, SIGTERM);
    ASSERT_TRUE(machine.start_server());
  }

  remote_machine machine;
};

#define QX_START_OR_SKIP(...)                                                                      \
  if (!start(__VA_ARGS__)) QX_SKIP_OR_FAIL_IN_CI("needs privileges and vsftpd")

}  // namespace

TEST_F(remote_server, has_the_whole_file_under_its_name) {
  QX_START_OR_SKIP();
  const std::string source = make_source(3 * mebibyte + 1);
  const tool_result result = run_tool("qxmi_remote_transcode", {name, source});
  EXPECT_EQ(result.end.status, 0);
  EXPECT_THAT(result.errors, IsEmpty());
  EXPECT_THAT(names_on_server(), ElementsAre(name));
  EXPECT_TRUE(content(arrived) == content(source));
  EXPECT_THAT(machine.login_folders(), IsEmpty());
}

TEST_F(remote_server, replaces_an_older_file_of_that_name) {
  QX_START_OR_SKIP();
  const std::string source = make_source(1000);
  fs::create_directory("/mnt/main/tv/upload");
  std::ofstream(arrived) << "older";
  ASSERT_EQ(chown("/mnt/main/tv/upload", 4711, 4711), 0);
  EXPECT_EQ(run_tool("qxmi_remote_transcode", {name, source}).end.status, 0);
  EXPECT_THAT(names_on_server(), ElementsAre(name));
  EXPECT_TRUE(content(arrived) == content(source));
}

TEST_F(remote_server, resumes_an_interrupted_upload) {
  QX_START_OR_SKIP(mebibyte);
  const std::string source = make_source(8 * mebibyte);
  interrupt_upload(source);
  EXPECT_THAT(names_on_server(), ElementsAre(AllOf(HasSubstr(name), testing::EndsWith(".part"))));

  EXPECT_EQ(run_tool("qxmi_remote_transcode", {name, source}).end.status, 0);
  EXPECT_THAT(names_on_server(), ElementsAre(name));
  EXPECT_TRUE(content(arrived) == content(source));
  EXPECT_THAT(machine.server_log(), testing::Not(HasSubstr("8388608 bytes")));
}

TEST_F(remote_server, does_not_resume_the_upload_of_another_source) {
  QX_START_OR_SKIP(mebibyte);
  const std::string source = make_source(8 * mebibyte);
  interrupt_upload(source);
  std::ofstream(source) << std::string(3 * mebibyte, 'n');

  EXPECT_EQ(run_tool("qxmi_remote_transcode", {name, source}).end.status, 0);
  EXPECT_TRUE(content(arrived) == content(source));
}

TEST_F(remote_server, renames_a_complete_copy_that_was_not_renamed) {
  QX_START_OR_SKIP();
  const std::string source = make_source(mebibyte);
  fs::create_directories(arrived + "/full");  // so that the copy cannot get its name
  ASSERT_EQ(chown("/mnt/main/tv/upload", 4711, 4711), 0);
  ASSERT_EQ(run_tool("qxmi_remote_transcode", {name, source}).end.status, 1);
  fs::remove_all(arrived);
  ASSERT_THAT(names_on_server(), ElementsAre(testing::EndsWith(".part")));

  EXPECT_EQ(run_tool("qxmi_remote_transcode", {name, source}).end.status, 0);
  EXPECT_THAT(names_on_server(), ElementsAre(name));
  EXPECT_TRUE(content(arrived) == content(source));
}

TEST_F(remote_server, shows_nothing_under_the_name_before_the_end) {
  QX_START_OR_SKIP(2 * mebibyte);
  const std::string source = make_source(4 * mebibyte);
  tool_run run("qxmi_remote_transcode", {name, source});
  long last = -1;
  ASSERT_TRUE(wait_until([&] {
    const bool named = fs::exists(arrived);
    EXPECT_TRUE(!named || fs::file_size(arrived) == 4 * mebibyte);
    last = std::max(last, client_position(source));
    return named;
  }));
  EXPECT_GT(last, 0) << "no progress was to be seen";
  EXPECT_EQ(run.wait().status, 0);
}

TEST_F(remote_server, that_refuses_the_password_is_a_failure) {
  QX_START_OR_SKIP();
  machine.configure("wrong");
  const std::string source = make_source(1000);
  const tool_result result = run_tool("qxmi_remote_transcode", {name, source});
  EXPECT_EQ(result.end.status, 1);
  EXPECT_THAT(result.errors, ElementsAre(AllOf(HasSubstr(source), HasSubstr("not accepted"))));
  EXPECT_THAT(names_on_server(), IsEmpty());
}

TEST_F(remote_server, whose_disk_is_full_is_a_failure_with_nothing_under_the_name) {
  QX_START_OR_SKIP();
  const std::string source = make_source(2 * mebibyte);
  fs::create_directory("/mnt/main/tv/upload");
  ASSERT_EQ(mount("small", "/mnt/main/tv/upload", "tmpfs", 0, "size=1m,uid=4711"), 0);
  const tool_result result = run_tool("qxmi_remote_transcode", {name, source});
  EXPECT_EQ(result.end.status, 1);
  EXPECT_FALSE(fs::exists(arrived));
}
