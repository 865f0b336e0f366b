// The server's output: writing replies, and sending them to clients that read well, badly, or not.
// The clock is the test's own: it stands still unless it is moved.
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

constexpr std::size_t long_size = 1000000;  // more than a connection takes unread

TEST(comm_reply, parts_are_written_in_order) {
  comm_socket_v4_packet* const reply = comm_socket_v4_packet_create();
  comm_socket_v4_packet_begin_writing(reply, 0, "list", "OK");
  comm_socket_v4_packet_write_argv_end(reply);
  comm_socket_v4_packet_write_nv_pair(reply, "b", "1");
  comm_socket_v4_packet_write_nv_pair(reply, "a", "2");
  comm_socket_v4_packet_write_nv_pair(reply, "b", "3");
  comm_socket_v4_packet_write_data_binary(reply, "x\0", 2);
  comm_socket_v4_packet_write_data_binary(reply, "y", 1);
  comm_socket_v4_packet_write_end(reply);
  EXPECT_EQ(reply->words, (strings{"list", "OK"}));
  const decltype(reply->nv_pairs) pairs{{"b", "1"}, {"a", "2"}, {"b", "3"}};
  EXPECT_EQ(reply->nv_pairs, pairs);
  EXPECT_EQ(reply->data, std::string("x\0y", 3));
  comm_socket_v4_packet_release(reply);
}

TEST(comm_reply, beginning_again_starts_over_but_for_the_header) {
  comm_socket_v4_packet* const reply = comm_socket_v4_packet_create();
  reply->request_id = 5;
  reply->result_code = 1000;
  comm_socket_v4_packet_begin_writing(reply, 0, "add", "OK");
  comm_socket_v4_packet_write_argv_end(reply);
  comm_socket_v4_packet_write_nv_pair(reply, "a", "1");
  comm_socket_v4_packet_write_data_binary(reply, "x", 1);
  comm_socket_v4_packet_begin_writing(reply, 0, "add", "TOO MANY ITEMS");
  EXPECT_EQ(reply->words, (strings{"add", "TOO MANY ITEMS"}));
  EXPECT_TRUE(reply->nv_pairs.empty());
  EXPECT_EQ(reply->data, "");
  EXPECT_EQ(reply->request_id, 5U);
  EXPECT_EQ(reply->result_code, 1000U);
  comm_socket_v4_packet_release(reply);
  comm_socket_v4_packet_release(nullptr);
}

TEST(comm_reply, unknown_command_is_echoed_and_refused) {
  comm_socket_v4_packet request;
  request.words = {"fly", "away"};
  comm_socket_v4_packet reply;
  reply.flags = 2;
  reply.request_id = 8;
  qxmi_default_unknown_command_error_response(&request, &reply, 0);
  EXPECT_EQ(reply.words, (strings{"fly", "UNKNOWN COMMAND"}));
  EXPECT_EQ(reply.result_code, 1000U);
  EXPECT_TRUE(reply.nv_pairs.empty());
  EXPECT_EQ(reply.data, "");
  EXPECT_EQ(reply.flags, 2U);
  EXPECT_EQ(reply.request_id, 8U);
}

TEST(comm_reply_death, writing_out_of_order_is_a_fault_of_the_program) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  comm_socket_v4_packet packet;
  EXPECT_DEATH(comm_socket_v4_packet_write_nv_pair(&packet, "a", "1"), "stage::body");
}

// A client whose one request is in hand.
struct comm_replies : testing::Test {
  qx_test::socket_bench bench;
  raw_client client = bench.connect();
  comm_socket_v4_client* sender = nullptr;
  comm_socket_v4_packet* request = nullptr;
  comm_socket_v4_packet* reply = nullptr;

  comm_replies() {
    client.send(request_bytes("a", 7) + request_bytes("b", 8));
    bench.idle();
    bench.meet_and_part();
    request = comm_socket_v4_server_get_packet(bench.server, &sender);
  }
  ~comm_replies() override {
    comm_socket_v4_packet_release(reply);
    comm_socket_v4_packet_release(request);
  }

  void prepare(std::size_t data_size) {
    reply = qx_test::make_reply(*request, std::string(data_size, 'x'));
  }
  int send() { return comm_socket_v4_packet_send_to_client(sender, reply); }
  int wait(std::uint64_t time_us) {
    return comm_socket_v4_wait_for_server_to_client_writeable(sender, now_us + time_us);
  }
};

TEST_F(comm_replies, short_reply_is_sent_at_once) {
  prepare(10);
  EXPECT_GT(send(), 0);
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, long_reply_goes_in_pieces_and_arrives_whole) {
  prepare(long_size);
  int tries = 0;
  int sent = 0;
  for (; (sent = send()) == 0; ++tries) {
    client.receive();
  }
  EXPECT_GT(sent, 0);
  EXPECT_GT(tries, 1);
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, client_is_not_gone_while_its_reply_is_half_sent) {
  prepare(long_size);
  ASSERT_EQ(send(), 0);
  client.send("malformed");  // ends the client's input
  comm_socket_v4_packet_release(request);
  bench.idle();
  request = comm_socket_v4_server_get_packet(bench.server, &sender);
  comm_socket_v4_packet_release(request);
  request = nullptr;
  bench.idle();
  bench.meet_and_part();
  EXPECT_EQ(bench.gone, 0);
  while (send() == 0) {
    client.receive();
  }
  bench.meet_and_part();
  EXPECT_EQ(bench.gone, 1);
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, client_that_takes_nothing_for_5_s_is_gone) {
  prepare(long_size);
  EXPECT_EQ(send(), 0);
  now_us += 4999999;
  EXPECT_EQ(send(), 0);
  now_us += 1;
  EXPECT_LT(send(), 0);
  EXPECT_LT(send(), 0);
  EXPECT_EQ(bench.serve_one(), "");  // what else it asked is dropped
  bench.meet_and_part();
  EXPECT_EQ(bench.gone, 1);
  EXPECT_TRUE(client.is_closed_by_server());
}

TEST_F(comm_replies, client_that_takes_something_within_5_s_and_all_within_10_s_is_kept) {
  prepare(long_size);
  ASSERT_EQ(send(), 0);
  now_us += 4900000;
  client.receive(400000);
  ASSERT_EQ(send(), 0);
  now_us += 4900000;
  client.receive();
  while (send() == 0) {
    client.receive();
  }
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, client_that_takes_a_little_at_a_time_is_gone_after_10_s) {
  prepare(2 * long_size);
  for (int i = 0; i < 5; ++i) {
    ASSERT_EQ(send(), 0) << i;
    now_us += 2000000;
    client.receive(100000);
  }
  EXPECT_LT(send(), 0);
}

TEST_F(comm_replies, patience_begins_anew_with_each_reply) {
  prepare(long_size);
  EXPECT_EQ(send(), 0);
  now_us += 4000000;
  while (send() == 0) {
    client.receive();
  }
  now_us += 4000000;
  comm_socket_v4_packet_release(reply);
  prepare(long_size);
  EXPECT_EQ(send(), 0);
  now_us += 4000000;
  EXPECT_EQ(send(), 0);
}

TEST_F(comm_replies, reply_over_the_limit_is_not_sent_and_closes) {
  prepare(16777216);
  EXPECT_LT(send(), 0);
  EXPECT_TRUE(client.is_closed_by_server());
  EXPECT_EQ(client.received, "");
  bench.meet_and_part();
  EXPECT_EQ(bench.gone, 1);
}

TEST_F(comm_replies, largest_reply_arrives) {
  prepare(16777216 - 4 - 4 - 1 - 4 - 2 - 4 - 4);
  int sent = 0;
  while ((sent = send()) == 0) {
    client.receive();
  }
  EXPECT_GT(sent, 0);
  client.receive();
  EXPECT_EQ(client.received.size(), 16777216U + 32U);
}

TEST_F(comm_replies, client_that_left_is_an_error_and_no_signal) {
  client.close();
  prepare(10);
  EXPECT_LT(send(), 0);
}

TEST_F(comm_replies, client_that_was_closed_is_not_waited_for) {
  prepare(16777216);
  ASSERT_LT(send(), 0);
  EXPECT_GT(wait(60000000), 0);
}

TEST_F(comm_replies, waiting_ends_when_the_client_has_read) {
  prepare(long_size);
  ASSERT_EQ(send(), 0);
  EXPECT_EQ(wait(20000), 0);
  client.receive();
  EXPECT_GT(wait(60000000), 0);
}

}  // namespace
