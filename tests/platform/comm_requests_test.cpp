// The server's input: requests that arrive whole, in pieces, in large numbers, malformed, or from
// clients that leave.
#include <memory>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/types.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "tests/platform/socket_bench.h"
#include "tests/support/failing_memory.h"

using qx_test::raw_client;
using qx_test::request_bytes;
using strings = std::vector<std::string>;

namespace {

int receive_calls = 0;
int poll_calls = 0;

}  // namespace

extern "C" {
ssize_t __real_recv(int fd, void* bytes, std::size_t size, int flags);
ssize_t __wrap_recv(int fd, void* bytes, std::size_t size, int flags);

ssize_t __wrap_recv(int fd, void* bytes, std::size_t size, int flags) {
  ++receive_calls;
  return __real_recv(fd, bytes, size, flags);
}

int __real_poll(pollfd* entries, nfds_t count, int timeout_ms);
int __wrap_poll(pollfd* entries, nfds_t count, int timeout_ms);

int __wrap_poll(pollfd* entries, nfds_t count, int timeout_ms) {
  ++poll_calls;
  return __real_poll(entries, count, timeout_ms);
}
}

namespace {

struct comm_requests : testing::Test {
  qx_test::socket_bench bench;
  raw_client client = bench.connect();

  int looks_of_a_wait() const {
    const int before = poll_calls;
    const std::uint64_t deadline = monotonic_clock_us() + 20000;
    EXPECT_EQ(comm_socket_v4_server_from_client_readable(bench.server, deadline), 0);
    return poll_calls - before;
  }
};

TEST_F(comm_requests, request_is_handed_out_with_its_client_and_all_its_parts) {
  client.send(request_bytes("add", 42, "data", 3));
  bench.idle();
  bench.meet_and_part();
  comm_socket_v4_client* sender = nullptr;
  comm_socket_v4_packet* const request = comm_socket_v4_server_get_packet(bench.server, &sender);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(sender, bench.accepted.at(0));
  EXPECT_EQ(request->words, strings{"add"});
  EXPECT_EQ(request->request_id, 42U);
  EXPECT_EQ(request->flags, 3U);
  EXPECT_EQ(request->data, "data");
  comm_socket_v4_packet_release(request);
}

TEST_F(comm_requests, nothing_is_handed_out_that_idle_has_not_read) {
  bench.pass();
  client.send(request_bytes("test"));
  EXPECT_EQ(bench.serve_one(), "");
  bench.idle();
  EXPECT_EQ(bench.serve_one(), "test");
}

TEST_F(comm_requests, only_clients_that_have_sent_something_are_read_from) {
  const raw_client silent = bench.connect();
  bench.pass();
  client.send(request_bytes("test"));
  for (const bool after_a_wait : {true, false}) {
    receive_calls = 0;
    if (after_a_wait) { EXPECT_TRUE(bench.is_ready()); }
    EXPECT_EQ(bench.pass(), strings{"test"});
    EXPECT_EQ(receive_calls, 1) << after_a_wait;
    client.send(request_bytes("test"));
  }
}

TEST_F(comm_requests, wait_after_a_request_looks_for_the_next_one_before_it_sleeps) {
  bench.pass();
  EXPECT_EQ(looks_of_a_wait(), 1);
  client.send(request_bytes("test"));
  EXPECT_EQ(bench.pass(), strings{"test"});
  EXPECT_GT(looks_of_a_wait(), 1);
  EXPECT_EQ(looks_of_a_wait(), 1);
}

TEST_F(comm_requests, wait_with_many_clients_sleeps_at_once) {
  std::vector<raw_client> others;
  for (int i = 0; i < 32; ++i) {
    others.push_back(bench.connect());
  }
  client.send(request_bytes("test"));
  EXPECT_EQ(bench.pass(), strings{"test"});
  EXPECT_EQ(looks_of_a_wait(), 1);
}

TEST_F(comm_requests, request_for_which_there_is_no_memory_ends_its_client) {
  // Packets that were released would be used again.
  comm_socket_v4_packet* const in_use[] = {comm_socket_v4_packet_create(),
                                           comm_socket_v4_packet_create()};
  client.send(request_bytes("test"));
  bench.idle();
  bench.meet_and_part();
  {
    const qx_test::failing_memory memory(1, qx_test::failing::from_then_on);
    comm_socket_v4_client* sender = nullptr;
    EXPECT_EQ(comm_socket_v4_server_get_packet(bench.server, &sender), nullptr);
  }
  EXPECT_FALSE(bench.is_ready());
  EXPECT_TRUE(client.is_closed_by_server());
  for (comm_socket_v4_packet* const packet : in_use) {
    comm_socket_v4_packet_release(packet);
  }
}

TEST_F(comm_requests, request_that_arrives_between_wait_and_round_is_not_forgotten) {
  const raw_client late = bench.connect();
  bench.pass();
  client.send(request_bytes("test"));
  EXPECT_TRUE(bench.is_ready());
  late.send(request_bytes("list"));
  EXPECT_EQ(bench.pass(), strings{"test"});
  EXPECT_EQ(bench.pass(), strings{"list"});
}

TEST_F(comm_requests, connection_made_between_wait_and_round_is_not_forgotten) {
  bench.pass();
  client.send(request_bytes("test"));
  EXPECT_TRUE(bench.is_ready());
  const raw_client late = bench.connect();
  late.send(request_bytes("list"));
  EXPECT_EQ(bench.pass(), strings{"test"});
  EXPECT_EQ(bench.pass(), strings{"list"});
}

TEST_F(comm_requests, client_that_was_not_announced_is_not_served) {
  client.send(request_bytes("test"));
  bench.idle();
  EXPECT_EQ(bench.serve_one(), "");
  bench.meet_and_part();
  EXPECT_EQ(bench.serve_one(), "test");
}

TEST_F(comm_requests, request_sent_byte_by_byte_is_assembled) {
  const std::string bytes = request_bytes("test", 5);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    EXPECT_EQ(client.replies(), strings{}) << i;
    client.send(bytes.substr(i, 1));
    bench.pass();
  }
  EXPECT_EQ(client.replies(), strings{"5 test OK"});
}

TEST_F(comm_requests, pipelined_requests_are_answered_in_order) {
  client.send(request_bytes("a", 3) + request_bytes("b", 1) + request_bytes("c", 2));
  EXPECT_EQ(bench.pass(), (strings{"a", "b", "c"}));
  EXPECT_EQ(client.replies(), (strings{"3 a OK", "1 b OK", "2 c OK"}));
}

TEST_F(comm_requests, packets_need_not_end_where_reads_do) {
  const std::string bytes = request_bytes("a") + request_bytes("b");
  client.send(bytes.substr(0, 60));
  EXPECT_EQ(bench.pass(), strings{"a"});
  client.send(bytes.substr(60));
  EXPECT_EQ(bench.pass(), strings{"b"});
}

TEST_F(comm_requests, clients_take_turns) {
  raw_client second = bench.connect();
  raw_client third = bench.connect();
  client.send(request_bytes("a1") + request_bytes("a2") + request_bytes("a3"));
  second.send(request_bytes("b1"));
  third.send(request_bytes("c1") + request_bytes("c2"));
  EXPECT_EQ(bench.pass(), (strings{"a1", "b1", "c1", "a2", "c2", "a3"}));
}

TEST_F(comm_requests, one_round_reads_at_most_64_kib_of_each_client) {
  const std::string bytes = request_bytes("flood", 1, std::string(1024 - 53, 'x'));
  ASSERT_EQ(bytes.size(), 1024U);
  std::string flood;
  for (int i = 0; i < 100; ++i) {
    flood += bytes;
  }
  const raw_client second = bench.connect();
  ASSERT_EQ(client.send(flood), flood.size());
  ASSERT_EQ(second.send(flood), flood.size());
  EXPECT_EQ(bench.pass().size(), 64U + 64U);
  EXPECT_EQ(bench.pass().size(), 36U + 36U);
}

TEST_F(comm_requests, client_with_a_request_in_hand_is_not_read_from) {
  client.send(request_bytes("a"));
  bench.idle();
  bench.meet_and_part();
  client.send(request_bytes("b"));
  bench.idle();
  EXPECT_EQ(bench.serve_one(), "a");
  EXPECT_EQ(bench.serve_one(), "");
  bench.idle();
  EXPECT_EQ(bench.serve_one(), "b");
}

TEST_F(comm_requests, largest_request_gets_through) {
  std::string bytes = request_bytes("big", 1, std::string(1048576 - 19, 'x'));
  strings served;
  while (!bytes.empty()) {
    bytes.erase(0, client.send(bytes));
    served = bench.pass_all();
  }
  EXPECT_EQ(served, strings{"big"});
}

TEST_F(comm_requests, half_a_request_holds_nobody_up) {
  raw_client second = bench.connect();
  client.send(request_bytes("half").substr(0, 40));
  second.send(request_bytes("whole"));
  EXPECT_EQ(bench.pass(), strings{"whole"});
  EXPECT_FALSE(bench.is_ready());
  EXPECT_FALSE(client.is_closed_by_server());
}

TEST_F(comm_requests, client_that_finished_sending_gets_its_replies_and_the_end) {
  client.send(request_bytes("a", 1) + request_bytes("b", 2));
  client.finish_sending();
  EXPECT_EQ(bench.pass_all(), (strings{"a", "b"}));
  EXPECT_EQ(client.replies(), (strings{"1 a OK", "2 b OK"}));
  EXPECT_TRUE(client.is_closed_by_server());
  EXPECT_EQ(bench.gone, 1);
}

TEST_F(comm_requests, client_that_finished_sending_is_not_gone_before_its_request_is_released) {
  client.send(request_bytes("a", 9));
  client.finish_sending();
  bench.idle();
  bench.meet_and_part();
  comm_socket_v4_client* sender = nullptr;
  comm_socket_v4_packet* const request = comm_socket_v4_server_get_packet(bench.server, &sender);
  bench.pass();
  EXPECT_EQ(bench.gone, 0);
  EXPECT_FALSE(bench.is_ready());  // its end does not make the server spin
  comm_socket_v4_packet* const reply = qx_test::make_reply(*request);
  EXPECT_GT(comm_socket_v4_packet_send_to_client(sender, reply), 0);
  comm_socket_v4_packet_release(reply);
  comm_socket_v4_packet_release(request);
  bench.pass();
  EXPECT_EQ(bench.gone, 1);
  EXPECT_EQ(client.replies(), strings{"9 a OK"});
}

TEST_F(comm_requests, client_that_left_is_reported_once) {
  bench.pass();
  client.close();
  bench.idle();
  EXPECT_EQ(comm_socket_v4_get_disconnected_client(bench.server), bench.accepted.at(0));
  EXPECT_EQ(comm_socket_v4_get_disconnected_client(bench.server), nullptr);
}

TEST_F(comm_requests, client_that_left_half_a_request_is_gone) {
  client.send(request_bytes("half").substr(0, 40));
  client.close();
  EXPECT_EQ(bench.pass_all(), strings{});
  EXPECT_EQ(bench.gone, 1);
}

TEST_F(comm_requests, requests_sent_before_leaving_are_carried_out) {
  client.send(request_bytes("a") + request_bytes("b") + request_bytes("c"));
  client.close();
  EXPECT_EQ(bench.pass_all(), (strings{"a", "b", "c"}));
  EXPECT_EQ(bench.gone, 1);
}

TEST_F(comm_requests, request_outlives_its_client_and_server) {
  client.send(request_bytes("a"));
  bench.idle();
  bench.meet_and_part();
  comm_socket_v4_client* sender = nullptr;
  comm_socket_v4_packet* const request = comm_socket_v4_server_get_packet(bench.server, &sender);
  comm_socket_v4_free_client(sender);
  bench.server = comm_socket_v4_destroy(bench.server);
  EXPECT_EQ(request->words, strings{"a"});
  comm_socket_v4_packet_release(request);
}

TEST_F(comm_requests, freed_client_is_closed) {
  bench.pass();
  comm_socket_v4_free_client(bench.accepted.at(0));
  EXPECT_TRUE(client.is_closed_by_server());
  comm_socket_v4_free_client(nullptr);
}

TEST_F(comm_requests, malformed_header_closes_without_a_reply_and_affects_no_other_client) {
  raw_client second = bench.connect();
  client.send("GET / HTTP/1.1\r\n\r\n");
  second.send(request_bytes("test", 4));
  EXPECT_EQ(bench.pass_all(), strings{"test"});
  EXPECT_TRUE(client.is_closed_by_server());
  EXPECT_EQ(client.received, "");
  EXPECT_EQ(bench.gone, 1);
  EXPECT_EQ(second.replies(), strings{"4 test OK"});
  EXPECT_FALSE(second.is_closed_by_server());
}

TEST_F(comm_requests, malformed_body_closes_without_a_reply) {
  std::string bytes = request_bytes("test");
  bytes[32] = 2;  // one word too few
  client.send(bytes);
  EXPECT_EQ(bench.pass_all(), strings{});
  EXPECT_TRUE(client.is_closed_by_server());
  EXPECT_EQ(client.received, "");
}

TEST_F(comm_requests, whole_requests_before_a_malformed_packet_are_answered) {
  client.send(request_bytes("a", 1) + request_bytes("b", 2) + "XXXX" + request_bytes("c", 3));
  EXPECT_EQ(bench.pass_all(), (strings{"a", "b"}));
  EXPECT_EQ(client.replies(), (strings{"1 a OK", "2 b OK"}));
  EXPECT_TRUE(client.is_closed_by_server());
  EXPECT_EQ(bench.gone, 1);
}

TEST_F(comm_requests, oversize_packet_is_refused_by_its_header) {
  std::string header = request_bytes("test").substr(0, 32);
  header.replace(4, 4, std::string("\x01\x00\x10\x00", 4));  // 1,048,577
  client.send(header);
  bench.idle();
  EXPECT_TRUE(client.is_closed_by_server());
}

}  // namespace
