// An empty /mnt through a mount namespace.
#include "tests/platform/own_mnt.h"

#include <cstdio>
#include <string>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace qx_test {

namespace {

bool write_text(const char* path, const std::string& text) {
  const int fd = open(path, O_WRONLY | O_CLOEXEC);
  const bool is_written =
      fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(fd);
  return is_written;
}

// A process that is not root can mount only in a user namespace, where it acts as root.
bool become_mounter() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (user == "0") { return unshare(CLONE_NEWNS) == 0; }
  return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && write_text("/proc/self/setgroups", "deny") &&
         write_text("/proc/self/uid_map", "0 " + user + " 1") &&
         write_text("/proc/self/gid_map", "0 " + group + " 1");
}

bool mount_own_mnt(int size_kib) {
  const std::string options = "mode=0755,size=" + std::to_string(size_kib) + "k";
  return become_mounter() && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", "/mnt", "tmpfs", 0, options.c_str()) == 0;
}

[[noreturn]] void run_as_child(const std::function<void()>& body, int size_kib) {
  if (mount_own_mnt(size_kib)) {
    body();
  } else {
    ADD_FAILURE() << "no own /mnt can be had here";
  }
  fflush(nullptr);
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

}  // namespace

void in_own_mnt(const std::function<void()>& body, int size_kib) {
  fflush(nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) { run_as_child(body, size_kib); }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0) << "expectations failed in the child, see above";
}

}  // namespace qx_test
