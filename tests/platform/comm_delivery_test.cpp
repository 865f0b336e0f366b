// Delivering what clients have not read yet, while the server ends and before. The test has its own
// clock, which advances only while the server sleeps; the clients read meanwhile.
#include <functional>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "tests/platform/socket_bench.h"

using qx_test::raw_client;
using qx_test::request_bytes;
using strings = std::vector<std::string>;

namespace {

constexpr std::uint64_t start_us = 1000000;
constexpr std::uint64_t second_us = 1000000;
constexpr std::uint64_t one_sleep_us = 10000;  // at most
constexpr std::size_t long_size = 2000000;     // many times what a connection buffers

std::uint64_t now_us = start_us;
std::function<void()> at_sleep;

}  // namespace

std::uint64_t monotonic_clock_us() {
  return now_us;
}

std::uint64_t gettimeofday_us() {
  return now_us;
}

extern "C" int usleep(useconds_t time_us) {
  now_us += time_us;
  if (at_sleep) { at_sleep(); }
  return 0;
}

namespace {

struct comm_delivery : testing::Test {
  qx_test::socket_bench bench;

  comm_delivery() { now_us = start_us; }
  ~comm_delivery() override { at_sleep = nullptr; }

  // A client that has been sent a reply with that much data, and has read none of it.
  raw_client answered_client(std::uint64_t id, std::size_t data_size) {
    raw_client client = bench.connect();
    client.send(request_bytes("a", id));
    bench.idle();
    bench.meet_and_part();
    comm_socket_v4_client* sender = nullptr;
    comm_socket_v4_packet* const request = comm_socket_v4_server_get_packet(bench.server, &sender);
    EXPECT_NE(request, nullptr);
    comm_socket_v4_packet* const reply = qx_test::make_reply(*request, std::string(data_size, 'x'));
    EXPECT_GT(comm_socket_v4_packet_send_to_client(sender, reply), 0);
    comm_socket_v4_packet_release(reply);
    comm_socket_v4_packet_release(request);
    return client;
  }
  // Ends the server, and returns how long that took.
  std::uint64_t destroy() {
    const std::uint64_t begin_us = now_us;
    bench.server = comm_socket_v4_destroy(bench.server);
    return now_us - begin_us;
  }
};

TEST_F(comm_delivery, end_of_the_server_cuts_no_reply_that_is_being_read) {
  raw_client client = answered_client(7, long_size);
  at_sleep = [&] { client.receive(65536); };
  destroy();
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
  EXPECT_TRUE(client.is_closed_by_server());
}

TEST_F(comm_delivery, end_of_the_server_waits_for_nobody_who_has_read_everything) {
  raw_client client = answered_client(7, 10);
  EXPECT_EQ(destroy(), 0U);
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_delivery, client_that_reads_nothing_delays_the_end_by_2_s) {
  const raw_client client = answered_client(7, long_size);
  const std::uint64_t taken_us = destroy();
  EXPECT_GE(taken_us, 2 * second_us);
  EXPECT_LT(taken_us, 2 * second_us + one_sleep_us);
}

TEST_F(comm_delivery, client_that_had_read_nothing_for_2_s_has_2_s_more) {
  raw_client client = answered_client(7, long_size);
  now_us += 2 * second_us;
  at_sleep = [&] {
    if (now_us > start_us + 2 * second_us + 1900000) { client.receive(); }
  };
  destroy();
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_delivery, client_that_reads_a_little_every_1_9_s_is_kept) {
  raw_client client = answered_client(7, 500000);
  std::uint64_t next_us = start_us + 1900000;
  at_sleep = [&] {
    if (now_us < next_us) { return; }
    next_us += 1900000;
    client.receive(250000);
  };
  destroy();
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_delivery, client_that_goes_on_reading_delays_the_end_by_5_s) {
  raw_client client = answered_client(7, 8 * long_size);
  at_sleep = [&] { client.receive(1000); };
  const std::uint64_t taken_us = destroy();
  EXPECT_GE(taken_us, 5 * second_us);
  EXPECT_LT(taken_us, 5 * second_us + one_sleep_us);
  EXPECT_TRUE(client.is_closed_by_server());
}

TEST_F(comm_delivery, client_that_reads_nothing_costs_others_nothing) {
  const raw_client idle = answered_client(6, long_size);
  raw_client client = answered_client(7, long_size);
  at_sleep = [&] { client.receive(2000); };
  destroy();
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_delivery, client_that_leaves_is_not_waited_for) {
  raw_client client = answered_client(7, long_size);
  at_sleep = [&] { client.close(); };
  EXPECT_LT(destroy(), one_sleep_us);
}

TEST_F(comm_delivery, nobody_can_connect_during_the_last_delivery) {
  raw_client client = answered_client(7, long_size);
  at_sleep = [&] {
    EXPECT_FALSE(bench.connect().is_connected());
    client.receive();
  };
  destroy();
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_delivery, until_a_deadline_leaves_the_rest_for_later) {
  raw_client client = answered_client(7, long_size);
  comm_socket_v4_deliver(bench.server, start_us + second_us / 2);
  EXPECT_GE(now_us, start_us + second_us / 2);
  EXPECT_LT(now_us, start_us + second_us / 2 + one_sleep_us);
  at_sleep = [&] { client.receive(); };
  comm_socket_v4_deliver(bench.server, now_us + second_us);
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
  EXPECT_FALSE(client.is_closed_by_server());
}

}  // namespace
