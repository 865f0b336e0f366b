// The client, tested against a server in a thread and against servers that are missing, busy,
// silent, misbehaving or gone.
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/comm_client_v4.h"
#include "platform/local_address.h"
#include "tests/platform/socket_bench.h"
#include "tests/platform/test_folder.h"

using qx_test::request_bytes;
using qx_test::socket_bench;
using qx_test::test_folder;
using result = comm_client_result;

namespace {

constexpr std::uint64_t long_us = 60000000;
constexpr std::uint64_t short_us = 50000;

comm_socket_v4_packet make_request(const std::string& command, std::size_t data_size = 0) {
  comm_socket_v4_packet request;
  request.flags = comm_socket_v4_flag_want_reply;
  request.request_id = 7;
  request.words = {command};
  request.data = std::string(data_size, 'x');
  return request;
}

struct answer {
  comm_client_result result;
  comm_socket_v4_packet reply;
};

answer ask(comm_client_v4& client, const comm_socket_v4_packet& request,
           std::uint64_t time_us = long_us) {
  answer answer{};
  answer.reply.words = {"from before"};
  answer.result = client.request(request, answer.reply, monotonic_clock_us() + time_us);
  return answer;
}

// A well-behaved server that answers "OK" in a separate thread.
class serving {
public:
  explicit serving(socket_bench& bench)
      : thread_([this, &bench] {
          while (!stop_) {
            bench.pass();
            comm_socket_v4_server_from_client_readable(bench.server, monotonic_clock_us() + 5000);
          }
        }) {}
  ~serving() {
    stop_ = true;
    thread_.join();
  }
  serving(const serving&) = delete;
  serving& operator=(const serving&) = delete;

private:
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

// A listening socket that nobody serves unless a test does.
struct bare_listener {
  explicit bare_listener(const std::string& path, int backlog = 8)
      : fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    local_address address;
    EXPECT_TRUE(address.set(path));
    EXPECT_EQ(bind(fd.get(), address.get(), sizeof(address.address)), 0);
    EXPECT_EQ(listen(fd.get(), backlog), 0);
  }
  unique_fd accept() const { return unique_fd(::accept(fd.get(), nullptr, nullptr)); }
  unique_fd fd;
};

// The result that a client gets from a server that accepts one connection and its request, then
// runs `behave`, and closes.
answer ask_rude_server(const std::function<void(int)>& behave, std::uint64_t time_us = long_us) {
  const test_folder folder;
  const bare_listener listener(folder.file("socket"));
  comm_client_v4 client(folder.file("socket"));
  std::thread server([&listener, &behave] {
    const unique_fd connection = listener.accept();
    char bytes[4096];
    EXPECT_GT(recv(connection.get(), bytes, sizeof(bytes), 0), 0);
    behave(connection.get());
  });
  answer told = ask(client, make_request("test"), time_us);
  server.join();
  return told;
}

void send_bytes(int fd, const std::string& bytes) {
  EXPECT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

std::string reply_bytes(std::uint64_t id) {
  comm_socket_v4_packet reply;
  reply.request_id = id;
  reply.words = {"test", "OK"};
  std::string wire;
  EXPECT_TRUE(comm_packet_v4_encode(reply, comm_packet_v4_reply, wire));
  return wire;
}

// Waits until the other side has closed.
void wait_for_close(int fd) {
  pollfd entry{fd, POLLIN, 0};
  EXPECT_EQ(poll(&entry, 1, 60000), 1);
}

TEST(comm_client, request_is_answered) {
  socket_bench bench;
  const serving server(bench);
  comm_client_v4 client(bench.path);
  const answer told = ask(client, make_request("test"));
  EXPECT_EQ(told.result, result::ok);
  EXPECT_EQ(told.reply.words, (std::vector<std::string>{"test", "OK"}));
  EXPECT_EQ(told.reply.request_id, 7U);
}

TEST(comm_client, connection_is_kept_for_the_next_request) {
  socket_bench bench;
  {
    const serving server(bench);
    comm_client_v4 client(bench.path);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(ask(client, make_request("test")).result, result::ok);
    }
  }
  EXPECT_EQ(bench.accepted.size(), 1U);
}

TEST(comm_client, largest_request_gets_through) {
  socket_bench bench;
  const serving server(bench);
  comm_client_v4 client(bench.path);
  EXPECT_EQ(ask(client, make_request("test", 1048576 - 20)).result, result::ok);
}

TEST(comm_client, long_reply_arrives_whole) {
  comm_socket_v4_packet reply;
  reply.request_id = 7;
  reply.words = {"test", "OK"};
  reply.data = std::string(5000000, 'd');
  std::string wire;
  ASSERT_TRUE(comm_packet_v4_encode(reply, comm_packet_v4_reply, wire));
  const answer told = ask_rude_server([&wire](int fd) { send_bytes(fd, wire); });
  EXPECT_EQ(told.result, result::ok);
  EXPECT_EQ(told.reply.data, reply.data);
}

TEST(comm_client, request_without_a_reply_is_done_when_sent) {
  socket_bench bench;
  comm_client_v4 client(bench.path);
  comm_socket_v4_packet request = make_request("quiet");
  request.flags = 0;
  const answer told = ask(client, request);
  EXPECT_EQ(told.result, result::ok);
  EXPECT_TRUE(told.reply.words.empty());
  EXPECT_EQ(bench.pass(), std::vector<std::string>{"quiet"});
}

TEST(comm_client, missing_socket_is_no_service) {
  const test_folder folder;
  comm_client_v4 client(folder.file("socket"));
  EXPECT_EQ(ask(client, make_request("test")).result, result::no_service);
}

TEST(comm_client, socket_that_nobody_listens_on_is_no_service) {
  const test_folder folder;
  bare_listener(folder.file("socket")).fd.reset();
  comm_client_v4 client(folder.file("socket"));
  EXPECT_EQ(ask(client, make_request("test")).result, result::no_service);
}

TEST(comm_client, path_of_another_kind_of_file_is_no_service) {
  for (const std::string& path :
       {std::string(), std::string(108, 'x'), std::string("/etc/hosts")}) {
    comm_client_v4 client(path);
    EXPECT_EQ(ask(client, make_request("test")).result, result::no_service) << path;
  }
}

TEST(comm_client, silent_server_is_waited_for_until_the_deadline) {
  const test_folder folder;
  const bare_listener listener(folder.file("socket"));
  comm_client_v4 client(folder.file("socket"));
  const std::uint64_t begin = monotonic_clock_us();
  const answer told = ask(client, make_request("test"), short_us);
  EXPECT_EQ(told.result, result::timeout);
  EXPECT_GE(monotonic_clock_us(), begin + short_us);
  EXPECT_TRUE(told.reply.words.empty());
}

TEST(comm_client, server_that_reads_nothing_is_waited_for_until_the_deadline) {
  const test_folder folder;
  const bare_listener listener(folder.file("socket"));
  comm_client_v4 client(folder.file("socket"));
  EXPECT_EQ(ask(client, make_request("test", 1000000), short_us).result, result::timeout);
}

TEST(comm_client, server_that_never_stops_sending_is_cut_off_at_the_deadline) {
  const answer told = ask_rude_server(
      [](int fd) {
        comm_socket_v4_packet reply;
        reply.words = {"test", "OK"};
        reply.data = std::string(100000, 'd');
        std::string wire;
        comm_packet_v4_encode(reply, comm_packet_v4_reply, wire);
        for (std::size_t i = 0; send(fd, &wire[i], 1, MSG_NOSIGNAL) == 1; ++i) {
          poll(nullptr, 0, 1);
        }
      },
      short_us);
  EXPECT_EQ(told.result, result::timeout);
}

TEST(comm_client, full_backlog_is_retried_until_the_deadline) {
  const test_folder folder;
  const bare_listener listener(folder.file("socket"), 1);
  const std::vector<unique_fd> waiting = qx_test::fill_backlog(folder.file("socket"));
  comm_client_v4 client(folder.file("socket"));
  EXPECT_EQ(ask(client, make_request("test"), short_us).result, result::timeout);
}

TEST(comm_client, full_backlog_is_joined_when_there_is_room) {
  socket_bench bench;
  const std::vector<unique_fd> waiting = qx_test::fill_backlog(bench.path);
  comm_client_v4 client(bench.path);
  std::thread asking(
      [&client] { EXPECT_EQ(ask(client, make_request("test")).result, result::ok); });
  const serving server(bench);
  asking.join();
}

TEST(comm_client, connection_that_ends_without_a_reply_is_gone) {
  EXPECT_EQ(ask_rude_server([](int) {}).result, result::gone);
}

TEST(comm_client, connection_that_ends_in_the_middle_of_a_reply_is_gone) {
  const answer told = ask_rude_server([](int fd) { send_bytes(fd, reply_bytes(7).substr(0, 40)); });
  EXPECT_EQ(told.result, result::gone);
  EXPECT_TRUE(told.reply.words.empty());
}

TEST(comm_client, answer_that_is_not_a_packet_is_malformed_at_once) {
  const answer told = ask_rude_server([](int fd) {
    send_bytes(fd, "HTTP/1.1 400 Bad Request\r\n");
    wait_for_close(fd);
  });
  EXPECT_EQ(told.result, result::malformed);
}

TEST(comm_client, reply_without_a_status_is_malformed) {
  const answer told = ask_rude_server([](int fd) { send_bytes(fd, request_bytes("test", 7)); });
  EXPECT_EQ(told.result, result::malformed);
}

TEST(comm_client, reply_to_another_request_is_malformed) {
  const answer told = ask_rude_server([](int fd) { send_bytes(fd, reply_bytes(8)); });
  EXPECT_EQ(told.result, result::malformed);
  EXPECT_TRUE(told.reply.words.empty());
}

TEST(comm_client, more_than_one_reply_is_malformed) {
  const answer told =
      ask_rude_server([](int fd) { send_bytes(fd, reply_bytes(7) + reply_bytes(7)); });
  EXPECT_EQ(told.result, result::malformed);
}

TEST(comm_client, request_that_breaks_a_limit_is_not_sent) {
  socket_bench bench;
  comm_client_v4 client(bench.path);
  EXPECT_EQ(ask(client, make_request("test", 1048577)).result, result::malformed);
  EXPECT_EQ(ask(client, comm_socket_v4_packet()).result, result::malformed);
  bench.pass();
  EXPECT_TRUE(bench.accepted.empty());
}

TEST(comm_client, restarted_server_is_found) {
  socket_bench bench;
  comm_client_v4 client(bench.path);
  {
    const serving server(bench);
    ASSERT_EQ(ask(client, make_request("test")).result, result::ok);
  }
  bench.server = comm_socket_v4_destroy(bench.server);
  EXPECT_EQ(ask(client, make_request("test")).result, result::no_service);
  bench.server = comm_socket_v4_create();
  ASSERT_EQ(comm_socket_v4_create_server(bench.server, bench.path.c_str()), 0);
  const serving server(bench);
  EXPECT_EQ(ask(client, make_request("test")).result, result::ok);
}

TEST(comm_client, server_restart_between_two_requests_is_not_a_failure) {
  socket_bench bench;
  comm_client_v4 client(bench.path);
  {
    const serving server(bench);
    ASSERT_EQ(ask(client, make_request("test")).result, result::ok);
  }
  comm_socket_v4_destroy(bench.server);
  bench.server = comm_socket_v4_create();
  ASSERT_EQ(comm_socket_v4_create_server(bench.server, bench.path.c_str()), 0);
  const serving server(bench);
  EXPECT_EQ(ask(client, make_request("test")).result, result::ok);
}

// The late reply to an abandoned request must not be taken for the reply to the next one.
TEST(comm_client, late_reply_is_not_taken_for_the_next_request_s) {
  socket_bench bench;
  comm_client_v4 client(bench.path);
  EXPECT_EQ(ask(client, make_request("late"), short_us).result, result::timeout);
  const serving server(bench);
  const answer told = ask(client, make_request("next"));
  ASSERT_EQ(told.result, result::ok);
  EXPECT_EQ(told.reply.words.front(), "next");
}

}  // namespace
