// The account of a program in the sandbox. That of engines is a stand-in here.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/skip.h"
#include "tools/media/sandbox.h"

namespace {

constexpr uid_t engine_user = 65534;

enum class change_of_group { works, is_refused, is_ignored };
change_of_group file_system = change_of_group::works;

struct sandbox_account : testing::Test {
  void SetUp() override {
    file_system = change_of_group::works;
    if (!available_sandbox().account) { QX_SKIP_OR_FAIL_IN_CI("needs the rights of root"); }
    limits.is_program = false;
    limits.writable = fileno(output);
  }
  ~sandbox_account() override { std::fclose(output); }

  // As that user, with no other capabilities.
  void expect_writer(uid_t user, std::uint32_t capabilities) const {
    EXPECT_EXIT(_exit(writes_as(user, capabilities)), testing::ExitedWithCode(0), "");
  }

  std::FILE* output = std::tmpfile();
  sandbox limits;

private:
  int writes_as(uid_t user, std::uint32_t capabilities) const {
    if (!enter_sandbox(limits, "")) { return 1; }
    const std::string name = "/proc/self/fd/" + std::to_string(limits.writable);
    if (!unique_fd(open(name.c_str(), O_RDWR | O_CLOEXEC)).valid()) { return 2; }
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, data) != 0) { return 3; }
    return geteuid() == user && data[0].permitted == capabilities ? 0 : 4;
  }
};

constexpr std::uint32_t rights_to_files = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;

}  // namespace

extern "C" {
int __real_fchown(int fd, uid_t user, gid_t group);

int __wrap_fchown(int fd, uid_t user, gid_t group) {
  if (file_system == change_of_group::works) { return __real_fchown(fd, user, group); }
  errno = EPERM;
  return file_system == change_of_group::is_ignored ? 0 : -1;
}
passwd* __wrap_getpwnam(const char*) {
  static passwd account = {};
  account.pw_uid = engine_user;
  account.pw_gid = engine_user;
  return &account;
}
}

TEST_F(sandbox_account, is_that_of_engines_without_any_capability) {
  expect_writer(engine_user, 0);
}

TEST_F(sandbox_account, is_the_own_one_where_files_cannot_be_lent) {
  file_system = change_of_group::is_refused;
  expect_writer(geteuid(), rights_to_files);
}

TEST_F(sandbox_account, is_the_own_one_where_lending_files_has_no_effect) {
  file_system = change_of_group::is_ignored;
  expect_writer(geteuid(), rights_to_files);
}

TEST_F(sandbox_account, can_be_lent_files_where_their_group_can_be_changed) {
  EXPECT_TRUE(can_lend_in(testing::TempDir()));
  file_system = change_of_group::is_refused;
  EXPECT_FALSE(can_lend_in(testing::TempDir()));
  file_system = change_of_group::is_ignored;
  EXPECT_FALSE(can_lend_in(testing::TempDir()));
}
