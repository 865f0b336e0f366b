#include "tests/races/attacker.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/text.h"
#include "platform/unique_dir.h"
#include "tools/media/left_parts.h"

namespace qx_test {

namespace {

constexpr uid_t nobody = 65534;

void fail(const char* what) {
  std::perror(what);
  std::_Exit(2);
}

void take_account() {
  if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0) { fail("setuid"); }
}

// The service's children have the lowest: beside one of usual priority they would hardly run.
void lower_priority() {
  const int priority = nice(19);
  static_cast<void>(priority);
}

}  // namespace

attacker::attacker(const std::function<void()>& round) {
  void* const shared =
      mmap(nullptr, sizeof(counter), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) { fail("mmap"); }
  rounds_ = new (shared) counter(0);
  pid_ = fork();
  if (pid_ < 0) { fail("fork"); }
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    take_account();
    lower_priority();
    for (;;) {
      round();
      rounds_->fetch_add(1);
    }
  }
  wait_for_first_round();
}

attacker::~attacker() {
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  munmap(rounds_, sizeof(counter));
}

void attacker::wait_for_first_round() const {
  while (rounds_->load() == 0) {
    if (waitpid(pid_, nullptr, WNOHANG) == pid_) { fail("the attacker ended"); }
    sched_yield();
  }
}

std::function<void()> exchange(const char* one, const char* other) {
  return [=] { renameat2(AT_FDCWD, one, AT_FDCWD, other, RENAME_EXCHANGE); };
}

std::function<void()> plant_for_parts(const char* folder, const char* target) {
  return [=] {
    const unique_dir names(opendir(folder));
    const int fd = names ? dirfd(names.get()) : -1;
    while (const dirent* const entry = names ? readdir(names.get()) : nullptr) {
      if (!begins_with(entry->d_name, left_part_prefix)) { continue; }
      unlinkat(fd, entry->d_name, 0);
      static_cast<void>(symlinkat(target, fd, entry->d_name) == 0);
    }
  };
}

}  // namespace qx_test
