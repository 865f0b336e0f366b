// Standard error that nobody reads for a while: nothing blocks, no line is split, and missing lines
// are counted.
#include <cassert>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "platform/standard_error.h"
#include "tests/support/files.h"

using namespace qx_test;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

// A separate process prints into one end of a channel; the test reads the other end.
class standard_error : public ::testing::Test {
protected:
  ~standard_error() override {
    close(read_end_);
    if (write_end_ >= 0) { close(write_end_); }
  }
  void use_pipe() {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    take_ends(ends);
    ASSERT_GT(fcntl(write_end_, F_SETPIPE_SZ, 4096), 0);
  }
  void use_socket() {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    take_ends(ends);
  }

  // Forks a process that prints to this channel as standard error, and returns its wait status. An
  // alarm ends it if it blocks.
  template <typename Action>
  int print(Action action) {
    const pid_t pid = fork();
    if (pid == 0) {
      alarm(30);
      dup2(write_end_, STDERR_FILENO);
      open_standard_error();
      action();
      _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
  }
  // The bytes that have arrived so far.
  std::string received() const {
    std::string text;
    char block[65536];
    fcntl(read_end_, F_SETFL, O_NONBLOCK);
    for (ssize_t got = 0; (got = read(read_end_, block, sizeof block)) > 0;) {
      text.append(block, static_cast<std::size_t>(got));
    }
    return text;
  }

  int read_end_ = -1;
  int write_end_ = -1;

private:
  void take_ends(const int* ends) {
    read_end_ = ends[0];
    write_end_ = ends[1];
  }
};

void print_lines(int count, std::size_t length) {
  for (int i = 0; i < count; ++i) {
    fprintf(stderr, "%d %s\n", i, std::string(length, 'x').c_str());
  }
}

// The number of lines from print_lines() that arrived and the number reported as dropped; -1 if a
// line is split.
long printed_and_dropped(const std::string& text) {
  const std::string told = "Standard error was full, lines dropped: ";
  long total = 0;
  for (const auto& line : lines_of(text)) {
    const bool is_count = line.rfind(told, 0) == 0;
    const std::string whole = std::to_string(total) + " " + std::string(90, 'x');
    if (!is_count && line != whole) { return -1; }
    total += is_count ? std::stol(line.substr(told.size())) : 1;
  }
  return total;
}

}  // namespace

TEST_F(standard_error, passes_on_printed_text) {
  use_pipe();
  EXPECT_EQ(print([] {
              fputs("one", stderr);
              fprintf(stderr, " line, %d\nand another\n", 1);
              flush_standard_error();
            }),
            0);
  EXPECT_EQ(received(), "one line, 1\nand another\n");
}

TEST_F(standard_error, full_pipe_costs_lines_and_no_time) {
  use_pipe();
  EXPECT_EQ(print([this] {
              print_lines(1000, 90);
              std::string text = received();
              flush_standard_error();
              text += received();
              fputs("next\n", stderr);
              const bool goes_on = received() == "next\n";
              _exit(goes_on && printed_and_dropped(text) == 1000 ? 0 : 1);
            }),
            0);
}

TEST_F(standard_error, full_socket_costs_lines_and_no_time) {
  use_socket();
  EXPECT_EQ(print([this] {
              print_lines(20000, 90);
              std::string text = received();
              flush_standard_error();
              text += received();
              _exit(lines_of(text).size() < 20000 && printed_and_dropped(text) == 20000 ? 0 : 1);
            }),
            0);
}

// Longer than the pipe's capacity: it is written in parts with nothing in between.
TEST_F(standard_error, long_line_is_not_split) {
  use_pipe();
  EXPECT_EQ(print([this] {
              fprintf(stderr, "%s\n", std::string(10000, 'l').c_str());
              fputs("dropped\n", stderr);
              std::string text = received();
              for (int i = 0; i < 4; ++i) {
                flush_standard_error();
                text += received();
              }
              _exit(text == std::string(10000, 'l') +
                                "\nStandard error was full, lines dropped: 1\n"
                        ? 0
                        : 1);
            }),
            0);
}

TEST_F(standard_error, reader_that_has_gone_costs_nothing) {
  use_pipe();
  close(read_end_);
  EXPECT_EQ(print([] {
              std::signal(SIGPIPE, SIG_IGN);
              print_lines(100, 90);
              flush_standard_error();
            }),
            0);
}

TEST_F(standard_error, assertion_message_is_still_printed) {
  use_pipe();
  const int status = print([] {
    std::signal(SIGABRT, SIG_DFL);
    assert(1 + 1 == 3);
  });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
  EXPECT_THAT(received(), HasSubstr("Assertion `1 + 1 == 3' failed.\n"));
}

// Children and the process's parent share the open file.
TEST_F(standard_error, leaves_the_descriptor_itself_unchanged) {
  use_pipe();
  EXPECT_EQ(print([] { _exit((fcntl(STDERR_FILENO, F_GETFL) & O_NONBLOCK) != 0 ? 1 : 0); }), 0);
  EXPECT_EQ(fcntl(write_end_, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(standard_error, file_takes_everything_even_if_others_write_to_it) {
  char name[] = "/tmp/qx.XXXXXX";
  write_end_ = mkstemp(name);
  EXPECT_EQ(print([] {
              fputs("one\n", stderr);
              EXPECT_EQ(write(STDERR_FILENO, "two\n", 4), 4);
              print_lines(2000, 90);
            }),
            0);
  const std::string text = read_file(name);
  unlink(name);
  EXPECT_THAT(text, StartsWith("one\ntwo\n0 x"));
  EXPECT_EQ(lines_of(text).size(), 2002U);
}
