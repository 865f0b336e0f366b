// Functions that run confined: their answers, their limits, their ends.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tools/media/confined_call.h"
#include "tools/media/tool_signals.h"

namespace {

struct confined_call : testing::Test {
  confined_call() { limits.is_program = false; }
  bool call(const std::function<std::string()>& work) {
    return call_confined(limits, time_limit, work, answer, error);
  }
  sandbox limits;
  std::chrono::milliseconds time_limit = std::chrono::seconds(30);
  std::string answer;
  std::string error;
};

bool maps(std::size_t size) {
  return mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) !=
         MAP_FAILED;
}

[[noreturn]] void resume_after(std::chrono::milliseconds delay, int fd) {
  std::this_thread::sleep_for(delay);
  const bool done = kill(getppid(), SIGUSR2) == 0 && write(fd, "x", 1) == 1;
  _exit(done ? 0 : 1);
}

// Waits until there is one.
std::string first_byte_of(int fd) {
  char byte = 0;
  while (pread(fd, &byte, 1, 0) < 1) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return {byte};
}

}  // namespace

TEST_F(confined_call, gives_the_answer_of_the_function) {
  ASSERT_TRUE(call([] { return std::string("an answer"); })) << error;
  EXPECT_EQ(answer, "an answer");
}

TEST_F(confined_call, keeps_the_beginning_of_a_long_answer) {
  ASSERT_TRUE(call([] { return std::string(100000, 'x'); })) << error;
  EXPECT_EQ(answer, std::string(4096, 'x'));
}

TEST_F(confined_call, reads_the_files_that_it_is_given_and_has_no_others) {
  const unique_fd given(open("/dev/zero", O_RDONLY | O_CLOEXEC));
  const unique_fd other(open("/dev/zero", O_RDONLY | O_CLOEXEC));
  limits.readable = {given.get()};
  ASSERT_TRUE(call([&] {
    char byte = 'x';
    const bool read_given = read(given.get(), &byte, 1) == 1;
    return std::string(read_given && read(other.get(), &byte, 1) < 0 ? "yes" : "no");
  })) << error;
  EXPECT_EQ(answer, "yes");
}

TEST_F(confined_call, makes_no_connections) {
  ASSERT_TRUE(call([] {
    return std::string(socket(AF_INET, SOCK_STREAM, 0) < 0 ? "refused" : "made");
  })) << error;
  EXPECT_EQ(answer, "refused");
}

TEST_F(confined_call, that_crashes_names_its_signal) {
  EXPECT_FALSE(call([] {
    raise(SIGABRT);  // which sanitizers leave alone
    return std::string("alive");
  }));
  EXPECT_EQ(error, std::string("ended by ") + strsignal(SIGABRT));
}

TEST_F(confined_call, ends_at_its_limit_of_processor_time) {
  limits.processor_time = std::chrono::seconds(1);
  EXPECT_FALSE(call([] {
    for (volatile int turn = 0;; turn = 1 - turn) {}
    return std::string();
  }));
  EXPECT_EQ(error, "the time limit has expired");
}

TEST_F(confined_call, ends_at_its_time_limit) {
  time_limit = std::chrono::milliseconds(50);
  EXPECT_FALSE(call([] {
    pause();
    return std::string("woken");
  }));
  EXPECT_EQ(error, "the time limit has expired");
}

TEST_F(confined_call, ends_at_its_time_limit_if_it_has_closed_its_files) {
  time_limit = std::chrono::milliseconds(50);
  EXPECT_FALSE(call([] {
    close_range(3, ~0U, 0);
    sleep(10);
    return std::string();
  }));
  EXPECT_EQ(error, "the time limit has expired");
}

TEST_F(confined_call, has_memory_within_a_limit) {
  ASSERT_TRUE(call([] { return std::string(maps(128U << 20) && !maps(1U << 30) ? "yes" : "no"); }))
      << error;
  EXPECT_EQ(answer, "yes");
}

// The helper resumes the tool, and lets the call end, only long after the time limit.
TEST_F(confined_call, does_not_count_the_time_in_which_the_tool_is_suspended) {
  time_limit = std::chrono::milliseconds(500);
  std::FILE* const signal_file = std::tmpfile();
  ASSERT_NE(signal_file, nullptr);
  limits.readable = {fileno(signal_file)};
  ASSERT_TRUE(catch_tool_signals());
  raise(SIGUSR1);
  read_tool_signals();
  const pid_t helper = fork();
  if (helper == 0) { resume_after(std::chrono::milliseconds(1000), limits.readable[0]); }
  EXPECT_TRUE(call([&] { return first_byte_of(limits.readable[0]); })) << error;
  EXPECT_EQ(answer, "x");
  waitpid(helper, nullptr, 0);
  std::fclose(signal_file);
}

TEST_F(confined_call, stops_when_the_tool_is_stopped) {
  ASSERT_TRUE(catch_tool_signals());
  raise(SIGTERM);
  read_tool_signals();
  EXPECT_FALSE(call([] {
    pause();
    return std::string("woken");
  }));
  EXPECT_EQ(error, "stopped");
}
