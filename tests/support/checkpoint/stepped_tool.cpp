#include "tests/support/checkpoint/stepped_tool.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

template <std::size_t size>
void copy_to(char (&target)[size], const std::string& text) {
  EXPECT_LT(text.size(), size);
  std::strncpy(target, text.c_str(), size - 1);
}

step_plan* mapped(const std::string& path) {
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  const bool sized = fd >= 0 && ftruncate(fd, sizeof(step_plan)) == 0;
  void* const place =
      sized ? mmap(nullptr, sizeof(step_plan), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0)
            : MAP_FAILED;
  if (fd >= 0) { close(fd); }
  // Nothing can be tried without it.
  if (place == MAP_FAILED) { std::abort(); }
  return static_cast<step_plan*>(place);
}

}  // namespace

stepped_tool::stepped_tool() : plan_(mapped(folder_.file("plan"))) {
  reset();
}

stepped_tool::~stepped_tool() {
  release();
  munmap(plan_, sizeof(step_plan));
}

std::vector<std::string> stepped_tool::environment() const {
  return {std::string("LD_PRELOAD=") + QX_STEP_LIBRARY,
          std::string(step_plan_variable) + "=" + folder_.file("plan")};
}

tool_run stepped_tool::start(const std::vector<std::string>& arguments) const {
  // Only the program that is started next loads the library.
  struct environment {
    explicit environment(const std::string& plan) {
      setenv("LD_PRELOAD", QX_STEP_LIBRARY, 1);
      setenv(step_plan_variable, plan.c_str(), 1);
    }
    ~environment() {
      unsetenv("LD_PRELOAD");
      unsetenv(step_plan_variable);
    }
  };
  const environment set(folder_.file("plan"));
  return tool_run("qxmi_vod_transcode", arguments);
}

void stepped_tool::reset() {
  new (plan_) step_plan{};
}

void stepped_tool::arm(long number, step_action action) {
  plan_->action = static_cast<int>(action);
  plan_->armed = number;
}

void stepped_tool::arm_name(long number, step_action action) {
  plan_->action = static_cast<int>(action);
  plan_->armed_name = number;
}

void stepped_tool::hold(const std::string& argument, int passing) {
  plan_->passing = passing;
  copy_to(plan_->held_argument, argument);
}

pid_t stepped_tool::stopped() const {
  const bool stops = wait_until([this] { return plan_->stopped != 0; });
  EXPECT_TRUE(stops) << "the tool never waits for the disk";
  return stops ? plan_->stopped.load() : -1;
}

pid_t stepped_tool::held() const {
  const bool waits = wait_until([this] { return plan_->held != 0; });
  EXPECT_TRUE(waits) << "no such engine was started";
  return waits ? plan_->held.load() : -1;
}

void stepped_tool::keep_journal(const std::string& folder, long first) {
  copy_to(plan_->journal, folder);
  plan_->entries = first - 1;
}

}  // namespace qx_test
