// Requests that are begun but never finished: limits on the time and memory that they cost. The
// test has its own clock, which changes only when the test moves it.
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "tests/platform/socket_bench.h"

using qx_test::raw_client;
using qx_test::request_bytes;
using strings = std::vector<std::string>;

namespace {

std::uint64_t now_us = 1000000;

}  // namespace

std::uint64_t monotonic_clock_us() {
  return now_us;
}

std::uint64_t gettimeofday_us() {
  return now_us;
}

namespace {

constexpr std::size_t largest_data = 1048576 - 19;

std::ptrdiff_t count_open(std::vector<raw_client>& clients) {
  return std::count_if(clients.begin(), clients.end(),
                       [](raw_client& each) { return !each.is_closed_by_server(); });
}

struct unfinished_requests : testing::Test {
  qx_test::socket_bench bench;
  raw_client client = bench.connect();

  // Sends as much as fits while the server reads, which then reads the rest.
  void send_all(const raw_client& sender, std::string_view bytes) {
    std::size_t sent = 0;
    do {
      sent = sender.send(bytes);
      bytes.remove_prefix(sent);
      bench.idle();
      bench.meet_and_part();
    } while (sent > 0 && !bytes.empty());
    for (int i = 0; i < 5; ++i) {  // more rounds than a connection buffers
      bench.idle();
    }
  }
  // That many clients, each of which has sent the bytes a little later than the one before.
  std::vector<raw_client> crowd_that_sent(int count, std::string_view bytes) {
    std::vector<raw_client> crowd;
    for (int i = 0; i < count; ++i) {
      ++now_us;
      crowd.push_back(bench.connect());
      send_all(crowd.back(), bytes);
    }
    return crowd;
  }
};

TEST_F(unfinished_requests, end_their_connection_after_30_s) {
  client.send(request_bytes("half").substr(0, 40));
  bench.pass();
  now_us += 29999999;
  bench.pass();
  EXPECT_FALSE(client.is_closed_by_server());
  now_us += 1;
  bench.pass_all();
  EXPECT_TRUE(client.is_closed_by_server());
  EXPECT_EQ(bench.gone, 1);
}

TEST_F(unfinished_requests, gain_no_time_by_sending_single_bytes) {
  const std::string bytes = request_bytes("slow");
  for (std::size_t i = 0; i < 31; ++i) {
    client.send(bytes.substr(i, 1));
    bench.pass_all();
    now_us += 1000000;
  }
  bench.pass_all();
  EXPECT_TRUE(client.is_closed_by_server());
}

TEST_F(unfinished_requests, are_served_when_they_end_in_time) {
  const std::string bytes = request_bytes("slow");
  client.send(bytes.substr(0, 40));
  bench.pass();
  now_us += 29000000;
  client.send(bytes.substr(40));
  EXPECT_EQ(bench.pass(), strings{"slow"});
  now_us += 29000000;
  client.send(bytes.substr(0, 40));
  bench.pass();
  now_us += 29000000;
  client.send(bytes.substr(40));
  EXPECT_EQ(bench.pass(), strings{"slow"});
}

TEST_F(unfinished_requests, are_timed_from_their_own_first_byte) {
  const std::string bytes = request_bytes("next");
  client.send(request_bytes("first").substr(0, 40));
  bench.pass();
  now_us += 20000000;
  client.send(request_bytes("first").substr(40) + bytes.substr(0, 40));
  EXPECT_EQ(bench.pass(), strings{"first"});
  bench.pass();
  now_us += 20000000;
  client.send(bytes.substr(40));
  EXPECT_EQ(bench.pass(), strings{"next"});
}

TEST_F(unfinished_requests, whole_requests_before_them_are_answered) {
  client.send(request_bytes("whole", 7) + request_bytes("half").substr(0, 40));
  EXPECT_EQ(bench.pass(), strings{"whole"});
  bench.pass();
  now_us += 30000000;
  bench.pass_all();
  EXPECT_EQ(client.replies(), strings{"7 whole OK"});
  EXPECT_TRUE(client.is_closed_by_server());
}

TEST_F(unfinished_requests, client_between_requests_is_never_dropped) {
  client.send(request_bytes("a"));
  bench.pass();
  now_us += 86400000000;
  bench.pass();
  client.send(request_bytes("b"));
  EXPECT_EQ(bench.pass(), strings{"b"});
}

TEST_F(unfinished_requests, time_spent_on_a_waiting_reply_does_not_count) {
  comm_socket_v4_client* sender = nullptr;
  client.send(request_bytes("a", 1) + request_bytes("b", 2).substr(0, 40));
  bench.idle();
  bench.meet_and_part();
  comm_socket_v4_packet* const request = comm_socket_v4_server_get_packet(bench.server, &sender);
  ASSERT_NE(request, nullptr);
  comm_socket_v4_packet* const reply = qx_test::make_reply(*request, std::string(10000000, 'x'));
  ASSERT_GT(comm_socket_v4_packet_send_to_client(sender, reply), 0);
  comm_socket_v4_packet_release(reply);
  comm_socket_v4_packet_release(request);
  for (int i = 0; i < 10; ++i) {
    bench.pass();
    now_us += 4000000;
    client.receive(500000);
  }
  for (int i = 0; i < 1000 && client.received.size() < 10000000U; ++i) {
    bench.pass();
    client.receive();
  }
  client.send(request_bytes("b", 2).substr(40));
  EXPECT_EQ(bench.pass(), strings{"b"});
}

TEST_F(unfinished_requests, together_take_32_mib_at_most) {
  const std::string half = request_bytes("big", 1, std::string(largest_data, 'x'));
  std::vector<raw_client> crowd = crowd_that_sent(100, std::string_view(half).substr(0, 1000000));
  const std::ptrdiff_t left = count_open(crowd);
  EXPECT_LE(left, 32);
  EXPECT_GE(left, 15);
  EXPECT_FALSE(crowd.back().is_closed_by_server());
  EXPECT_TRUE(crowd.front().is_closed_by_server());
}

TEST_F(unfinished_requests, together_take_32_mib_at_most_however_small_the_oldest_are) {
  const std::string half = request_bytes("big", 1, std::string(largest_data, 'x'));
  const std::vector<raw_client> oldest = crowd_that_sent(200, request_bytes("a").substr(0, 40));
  std::vector<raw_client> crowd = crowd_that_sent(45, std::string_view(half).substr(0, 1000000));
  EXPECT_LE(count_open(crowd), 32);
  EXPECT_FALSE(crowd.back().is_closed_by_server());
}

TEST_F(unfinished_requests, are_not_ended_for_the_memory_of_a_request_that_was_handed_out) {
  const std::string big = request_bytes("big", 1, std::string(largest_data, 'x'));
  std::vector<raw_client> crowd;
  for (int i = 0; i < 40; ++i) {
    crowd.push_back(bench.connect());
    send_all(crowd.back(), big + request_bytes("next").substr(0, 40));
    comm_socket_v4_client* sender = nullptr;
    comm_socket_v4_packet* const request = comm_socket_v4_server_get_packet(bench.server, &sender);
    ASSERT_NE(request, nullptr);
    comm_socket_v4_packet* const reply = qx_test::make_reply(*request, std::string(1000000, 'x'));
    EXPECT_GT(comm_socket_v4_packet_send_to_client(sender, reply), 0);
    comm_socket_v4_packet_release(reply);
    comm_socket_v4_packet_release(request);
  }
  send_all(client, big);
  EXPECT_EQ(bench.serve_one(), "big");
}

TEST_F(unfinished_requests, are_safe_once_they_are_whole) {
  const std::string half = request_bytes("big", 1, std::string(largest_data, 'x'));
  const std::string old = request_bytes("old", 1, std::string(540000, 'x'));
  // Half a MiB, then 31 MiB more and a little: the last bytes need another half.
  send_all(client, std::string_view(old).substr(0, 520000));
  std::vector<raw_client> crowd = crowd_that_sent(31, std::string_view(half).substr(0, 1000000));
  const std::vector<raw_client> others =
      crowd_that_sent(3, std::string_view(half).substr(0, 70000));
  ASSERT_EQ(count_open(crowd), 31);
  client.send(std::string_view(old).substr(520000));
  EXPECT_EQ(bench.pass(), strings{"old"});
  EXPECT_TRUE(crowd.front().is_closed_by_server());
}

TEST_F(unfinished_requests, do_not_keep_others_out_by_filling_the_memory) {
  const std::string big = request_bytes("big", 1, std::string(largest_data, 'x'));
  const std::vector<raw_client> crowd =
      crowd_that_sent(100, std::string_view(big).substr(0, 1000000));
  ++now_us;
  strings served;
  std::string_view rest = big;
  for (int i = 0; i < 1000 && served.empty(); ++i) {
    rest.remove_prefix(client.send(rest));
    served = bench.pass();
  }
  EXPECT_EQ(served, strings{"big"});
}

}  // namespace
