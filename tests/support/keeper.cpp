#include "tests/support/keeper.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/namespaces.h"

namespace qx_test {

namespace {

void report(int fd, const std::string& line) {
  const ssize_t put = write(fd, line.data(), line.size());
  static_cast<void>(put);
}

[[noreturn]] void give_up(int report_fd, const char* what) {
  report(report_fd, std::string("failed: ") + what + ": " + std::strerror(errno) + "\n");
  _exit(1);
}

// The test's streams must not stay open in the keeper: whoever reads them would wait for it.
void leave_the_test(int life_fd, int report_fd) {
  setsid();
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int fd = 0; fd < 3; ++fd) {
    dup2(null, fd);
  }
  close_all_but(life_fd, report_fd);
  signal(SIGCHLD, SIG_IGN);  // orphans leave no zombies
}

void wait_for_end_of_test(int life_fd) {
  char byte = 0;
  while (read(life_fd, &byte, 1) < 0 && errno == EINTR) {}
}

// The folder's parts are mount points in this namespace and cannot be removed until they are
// unmounted.
void remove_folder(const std::string& folder) {
  for (const char* place : {"/usr/bin", "/mnt", "/run"}) {
    umount2(place, MNT_DETACH);
  }
  std::error_code error;
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::filesystem::remove_all(folder, error);
    if (!error) { return; }
    usleep(10000);  // killed processes may still be writing
  }
}

[[noreturn]] void live(const std::string& folder, bool keep_folder, int life_fd, int report_fd) {
  leave_the_test(life_fd, report_fd);
  if (mount_own_proc() != 0) { give_up(report_fd, "mount /proc"); }
  report(report_fd, "ready\n");
  close(report_fd);
  wait_for_end_of_test(life_fd);
  kill(-1, SIGKILL);
  if (!keep_folder) { remove_folder(folder); }
  _exit(0);
}

[[noreturn]] void make_private_root(const std::string& folder, bool keep_folder, int life_fd,
                                    int report_fd) {
  if (make_namespaces() != 0) { give_up(report_fd, "new namespaces"); }
  if (mount_private_root(folder) != 0) { give_up(report_fd, "mounts"); }
  const pid_t keeper = fork_sibling();
  if (keeper < 0) { give_up(report_fd, "fork"); }
  if (keeper == 0) { live(folder, keep_folder, life_fd, report_fd); }
  report(report_fd, "pid " + std::to_string(keeper) + "\n");
  _exit(0);
}

std::string read_report(int fd) {
  std::string text;
  char block[256];
  for (ssize_t got = 0; (got = read(fd, block, sizeof block)) > 0;) {
    text.append(block, static_cast<std::size_t>(got));
  }
  return text;
}

}  // namespace

keeper_process start_keeper(const std::string& folder, bool keep_folder) {
  keeper_process keeper;
  int life[2];
  int reports[2];
  if (pipe2(life, O_CLOEXEC) != 0 || pipe2(reports, O_CLOEXEC) != 0) {
    keeper.error = std::strerror(errno);
    return keeper;
  }
  const pid_t maker = fork();
  if (maker == 0) { make_private_root(folder, keep_folder, life[0], reports[1]); }
  close(life[0]);
  close(reports[1]);
  const std::string text = read_report(reports[0]);
  close(reports[0]);
  waitpid(maker, nullptr, 0);

  keeper.life_fd = life[1];
  const auto pid = text.find("pid ");
  if (pid != std::string::npos) { keeper.pid = std::atoi(text.c_str() + pid + 4); }
  if (text.find("ready\n") == std::string::npos) { keeper.error = text; }
  return keeper;
}

}  // namespace qx_test
