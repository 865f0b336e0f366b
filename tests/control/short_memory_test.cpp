// The shipped service, when the machine has no more memory to give.
#include <sys/resource.h>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::AnyOf;
using ::testing::HasSubstr;

// The sanitizers reserve more address space than any limit leaves.
#if !defined(__SANITIZE_ADDRESS__)

namespace {

constexpr const char* source = "/mnt/media/clip.mpg";

// Bytes of address space that a process has.
rlim_t address_space(pid_t pid) {
  for (const auto& line : lines_of(read_file("/proc/" + std::to_string(pid) + "/status"))) {
    if (line.rfind("VmSize:", 0) == 0) { return std::stoul(line.substr(7)) << 10U; }
  }
  return 0;
}

void limit_memory(pid_t pid, rlim_t bytes) {
  const struct rlimit limit {
    bytes, RLIM_INFINITY
  };
  EXPECT_EQ(prlimit(pid, RLIMIT_AS, &limit, nullptr), 0);
}

}  // namespace

TEST(short_memory, fails_requests_with_a_line_and_keeps_the_queue) {
  test_machine machine;
  machine.service.set_uptime(200);
  machine.root.write_source(source, "video/mp2t");
  machine.start();
  const auto id = machine.client.add_ready(source);
  limit_memory(machine.service.pid(), address_space(machine.service.pid()) + (1U << 20U));
  const std::string large(1000000, 'p');
  for (int i = 0; i < 20; ++i) {
    const auto reply = machine.client.request("add", {{"transcode profile", large}});
    EXPECT_THAT(reply.status(), AnyOf("OK", "OUT OF MEMORY", "(no reply)"));
  }
  EXPECT_TRUE(machine.service.wait_for_stderr("Out of memory: "));
  limit_memory(machine.service.pid(), RLIM_INFINITY);
  EXPECT_EQ(machine.client.transcode_state(id), "ready");
  machine.service.restart();
  EXPECT_EQ(machine.client.transcode_state(id), "ready");
}

#endif
