// Functions that run confined: their answers, their limits, their ends.
#include <csignal>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tools/media/confined_call.h"

namespace {

struct confined_call : testing::Test {
  confined_call() { limits.is_program = false; }
  bool call(const std::function<std::string()>& work) {
    return call_confined(limits, work, answer, error);
  }
  sandbox limits;
  std::string answer;
  std::string error;
};

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

TEST_F(confined_call, that_is_killed_is_a_failure) {
  EXPECT_FALSE(call([] {
    raise(SIGKILL);
    return std::string("alive");
  }));
  EXPECT_EQ(error, "the examination failed");
}

TEST_F(confined_call, ends_at_its_limit_of_processor_time) {
  limits.processor_time = std::chrono::seconds(1);
  EXPECT_FALSE(call([] {
    for (volatile int turn = 0;; turn = 1 - turn) {}
    return std::string();
  }));
}
