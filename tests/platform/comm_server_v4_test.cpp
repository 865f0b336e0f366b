// The server's lifetime: its socket file, descriptors, limits and waiting.
#include <cerrno>
#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "tests/platform/socket_bench.h"
#include "tests/support/files.h"

using qx_test::exists;
using qx_test::raw_client;
using qx_test::request_bytes;
using qx_test::socket_bench;
using qx_test::test_folder;
using strings = std::vector<std::string>;

namespace {

constexpr std::uint64_t far_off_us = 60000000;

int create_server(comm_socket_v4* server, const std::string& path) {
  return comm_socket_v4_create_server(server, path.c_str());
}

TEST(comm_server, server_that_does_not_listen_has_no_descriptor_and_fails) {
  comm_socket_v4* const server = comm_socket_v4_create();
  EXPECT_EQ(comm_socket_v4_fd(server), -1);
  EXPECT_EQ(comm_socket_v4_fd(nullptr), -1);
  EXPECT_LT(comm_socket_v4_idle(server), 0);
  EXPECT_LT(comm_socket_v4_server_from_client_readable(server, 0), 0);
  EXPECT_EQ(comm_socket_v4_destroy(server), nullptr);
  EXPECT_EQ(comm_socket_v4_destroy(nullptr), nullptr);
}

TEST(comm_server, stale_socket_file_is_replaced) {
  const test_folder folder;
  const std::string kept = folder.file("kept");
  const std::string path = folder.file("socket");
  comm_socket_v4* const first = comm_socket_v4_create();
  ASSERT_EQ(create_server(first, kept), 0);
  ASSERT_EQ(rename(kept.c_str(), path.c_str()), 0);
  comm_socket_v4_destroy(first);  // leaves the file that was moved
  ASSERT_TRUE(exists(path));
  comm_socket_v4* const second = comm_socket_v4_create();
  EXPECT_EQ(create_server(second, path), 0);
  EXPECT_TRUE(raw_client(path).is_connected());
  comm_socket_v4_destroy(second);
}

TEST(comm_server, socket_that_a_dead_server_left_to_a_child_is_replaced) {
  const test_folder folder;
  const std::string path = folder.file("socket");
  int is_ready[2];
  ASSERT_EQ(pipe2(is_ready, O_CLOEXEC), 0);
  const pid_t dead = fork();
  if (dead == 0) {
    create_server(comm_socket_v4_create(), path);
    if (fork() == 0) {
      usleep(1000000);
      _exit(0);
    }
    static_cast<void>(!write(is_ready[1], "x", 1));
    pause();
  }
  char byte = 0;
  ASSERT_EQ(read(is_ready[0], &byte, 1), 1);
  kill(dead, SIGKILL);
  ASSERT_EQ(waitpid(dead, nullptr, 0), dead);
  comm_socket_v4* const server = comm_socket_v4_create();
  EXPECT_EQ(create_server(server, path), 0);
  comm_socket_v4_destroy(server);
}

TEST(comm_server, socket_in_use_is_left_alone) {
  socket_bench bench;
  comm_socket_v4* const second = comm_socket_v4_create();
  EXPECT_LT(create_server(second, bench.path), 0);
  EXPECT_EQ(errno, EADDRINUSE);
  EXPECT_EQ(comm_socket_v4_fd(second), -1);
  comm_socket_v4_destroy(second);
  EXPECT_TRUE(bench.connect().is_connected());
}

TEST(comm_server, busy_socket_counts_as_in_use) {
  const socket_bench bench;
  const std::vector<unique_fd> waiting = qx_test::fill_backlog(bench.path);
  comm_socket_v4* const second = comm_socket_v4_create();
  EXPECT_LT(create_server(second, bench.path), 0);
  EXPECT_EQ(errno, EADDRINUSE);
  comm_socket_v4_destroy(second);
}

TEST(comm_server, file_of_another_kind_is_left_alone) {
  const test_folder folder;
  qx_test::write_file(folder.file("socket"), "kept");
  comm_socket_v4* const server = comm_socket_v4_create();
  EXPECT_LT(create_server(server, folder.file("socket")), 0);
  EXPECT_EQ(errno, EADDRINUSE);
  comm_socket_v4_destroy(server);
  EXPECT_EQ(qx_test::read_file(folder.file("socket")), "kept");
}

TEST(comm_server, path_that_is_too_long_or_in_no_directory_is_refused) {
  comm_socket_v4* const server = comm_socket_v4_create();
  EXPECT_LT(create_server(server, "/tmp/" + std::string(103, 'x')), 0);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_LT(create_server(server, "/no/such/folder/socket"), 0);
  EXPECT_EQ(errno, ENOENT);
  comm_socket_v4_destroy(server);
}

TEST(comm_server, mode_of_the_socket_file_follows_the_umask) {
  const mode_t before = umask(027);
  const socket_bench bench;
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(bench.path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0750U);
}

TEST(comm_server, destroy_closes_all_and_removes_its_socket_file) {
  socket_bench bench;
  raw_client client = bench.connect();
  bench.pass();
  bench.server = comm_socket_v4_destroy(bench.server);
  EXPECT_EQ(bench.server, nullptr);
  EXPECT_FALSE(exists(bench.path));
  EXPECT_TRUE(client.is_closed_by_server());
}

TEST(comm_server, destroy_leaves_another_server_s_socket_file) {
  socket_bench bench;
  ASSERT_EQ(unlink(bench.path.c_str()), 0);
  comm_socket_v4* const second = comm_socket_v4_create();
  ASSERT_EQ(create_server(second, bench.path), 0);
  bench.server = comm_socket_v4_destroy(bench.server);
  EXPECT_TRUE(exists(bench.path));
  comm_socket_v4_destroy(second);
}

// The program that started the test may have left descriptors open.
void close_inherited_descriptors() {
  close_range(3, ~0U, 0);
}

TEST(comm_server, no_descriptor_is_inherited) {
  close_inherited_descriptors();
  socket_bench bench;
  const raw_client client = bench.connect();
  bench.pass();
  ASSERT_EQ(bench.accepted.size(), 1U);
  for (int fd = 3; fd < 16; ++fd) {
    const int flags = fcntl(fd, F_GETFD);
    EXPECT_TRUE(flags < 0 || (flags & FD_CLOEXEC) != 0) << fd;
  }
}

TEST(comm_server, client_257_is_closed_at_once_and_there_is_room_when_one_leaves) {
  socket_bench bench;
  std::vector<raw_client> clients;
  for (int i = 0; i < 256; ++i) {
    clients.push_back(bench.connect());
    if (i % 64 == 63) { bench.pass(); }
  }
  raw_client one_more = bench.connect();
  bench.pass();
  EXPECT_TRUE(one_more.is_closed_by_server());
  EXPECT_EQ(bench.accepted.size(), 256U);
  EXPECT_FALSE(clients.front().is_closed_by_server());
  clients.front().close();
  raw_client next = bench.connect();
  next.send(request_bytes("test"));
  EXPECT_EQ(bench.pass_all(), strings{"test"});
}

// Leaves the process with that many free descriptors.
void leave_descriptors(rlim_t count) {
  const int lowest_free = dup(0);
  close(lowest_free);
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = static_cast<rlim_t>(lowest_free) + count;
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
}

TEST(comm_server, connections_wait_at_no_cost_while_descriptors_are_short) {
  close_inherited_descriptors();
  socket_bench bench;
  raw_client served = bench.connect();
  bench.pass();
  raw_client waiting = bench.connect();
  waiting.send(request_bytes("later"));
  leave_descriptors(8);
  EXPECT_TRUE(bench.is_ready());  // noticed only in the next pass
  EXPECT_EQ(bench.pass(), strings{});
  EXPECT_FALSE(bench.is_ready());
  EXPECT_FALSE(waiting.is_closed_by_server());

  served.send(request_bytes("now"));
  EXPECT_EQ(bench.pass(), strings{"now"});

  leave_descriptors(9);
  EXPECT_EQ(bench.pass(), strings{"later"});
}

TEST(comm_server, running_out_of_descriptors_ends_nothing) {
  close_inherited_descriptors();
  socket_bench bench;
  raw_client waiting = bench.connect();
  waiting.send(request_bytes("later"));
  leave_descriptors(0);
  EXPECT_EQ(bench.pass(), strings{});
  EXPECT_FALSE(bench.is_ready());
  leave_descriptors(20);
  EXPECT_EQ(bench.pass(), strings{"later"});
}

struct comm_waiting : testing::Test {
  socket_bench bench;
  raw_client client = bench.connect();
  comm_waiting() { bench.pass(); }
  int wait_until(std::uint64_t deadline_us) const {
    return comm_socket_v4_server_from_client_readable(bench.server, deadline_us);
  }
  int wait_for(std::uint64_t time_us) const { return wait_until(monotonic_clock_us() + time_us); }
};

TEST_F(comm_waiting, ends_at_the_deadline_and_not_before) {
  const std::uint64_t deadline = monotonic_clock_us() + 30000;
  EXPECT_EQ(wait_until(deadline), 0);
  EXPECT_GE(monotonic_clock_us(), deadline);
}

TEST_F(comm_waiting, deadline_in_the_past_is_not_waited_for) {
  EXPECT_EQ(wait_until(0), 0);
}

TEST_F(comm_waiting, ends_when_a_client_connects) {
  const raw_client second = bench.connect();
  EXPECT_GT(wait_for(far_off_us), 0);
}

TEST_F(comm_waiting, ends_when_a_client_has_sent) {
  client.send("C");
  EXPECT_GT(wait_for(far_off_us), 0);
}

TEST_F(comm_waiting, ends_when_a_client_has_left) {
  client.close();
  EXPECT_GT(wait_for(far_off_us), 0);
}

TEST_F(comm_waiting, ends_at_once_with_a_request_in_a_buffer) {
  client.send(request_bytes("a") + request_bytes("b"));
  bench.idle();
  EXPECT_EQ(bench.serve_one(), "a");
  EXPECT_GT(wait_for(far_off_us), 0);
}

TEST_F(comm_waiting, does_not_end_for_half_a_request_in_a_buffer) {
  client.send("CMS4");
  bench.pass();
  EXPECT_EQ(wait_for(20000), 0);
}

void do_nothing(int) {}

TEST_F(comm_waiting, ends_at_a_signal) {
  struct sigaction action {};
  action.sa_handler = do_nothing;
  ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
  // Repeated, so that one of them arrives during the wait.
  const itimerval each_20_ms{{0, 20000}, {0, 20000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &each_20_ms, nullptr), 0);
  EXPECT_EQ(wait_for(far_off_us), 0);
  const itimerval never{};
  setitimer(ITIMER_REAL, &never, nullptr);
}

}  // namespace
