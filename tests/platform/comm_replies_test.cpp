// The server's output: writing replies, and sending them to clients that read promptly, slowly or
// not at all. The test has its own clock, which changes only when the test moves it.
#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <sys/types.h>

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

constexpr std::size_t largest_data = 16777216 - 4 - 4 - 1 - 4 - 2 - 4 - 4;

int send_calls = 0;
int send_error = 0;  // that every call of the server fails with; 0 for none

}  // namespace

extern "C" {
ssize_t __real_send(int fd, const void* bytes, std::size_t size, int flags);
ssize_t __wrap_send(int fd, const void* bytes, std::size_t size, int flags);

ssize_t __wrap_send(int fd, const void* bytes, std::size_t size, int flags) {
  ++send_calls;
  if (send_error != 0 && (flags & MSG_DONTWAIT) != 0) {
    errno = send_error;
    return -1;
  }
  return __real_send(fd, bytes, size, flags);
}
}

namespace {

constexpr std::size_t long_size = 1000000;  // more than a connection buffers

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

TEST(comm_reply, beginning_again_starts_over_but_keeps_the_header) {
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

TEST(comm_reply, new_packet_holds_nothing_of_a_released_one) {
  comm_socket_v4_packet* const released = comm_socket_v4_packet_create();
  released->flags = 3;
  released->request_id = 5;
  released->result_code = 1000;
  const auto claim = std::make_shared<char>();
  released->claim = claim;
  comm_socket_v4_packet_begin_writing(released, 0, "add", "OK");
  comm_socket_v4_packet_write_argv_end(released);
  comm_socket_v4_packet_write_nv_pair(released, "a", "1");
  comm_socket_v4_packet_write_data_binary(released, "x", 1);
  comm_socket_v4_packet_write_end(released);
  comm_socket_v4_packet_release(released);
  EXPECT_EQ(claim.use_count(), 1);

  comm_socket_v4_packet* const fresh = comm_socket_v4_packet_create();
  EXPECT_EQ(fresh->flags, 0U);
  EXPECT_EQ(fresh->request_id, 0U);
  EXPECT_EQ(fresh->result_code, 0U);
  EXPECT_TRUE(fresh->words.empty());
  EXPECT_TRUE(fresh->nv_pairs.empty());
  EXPECT_EQ(fresh->data, "");
  EXPECT_EQ(fresh->written, comm_socket_v4_packet::stage::blank);
  EXPECT_EQ(fresh->claim, nullptr);
  comm_socket_v4_packet_release(fresh);
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

TEST(comm_reply_death, writing_out_of_order_aborts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  comm_socket_v4_packet packet;
  EXPECT_DEATH(comm_socket_v4_packet_write_nv_pair(&packet, "a", "1"), "stage::body");
}

// A client that has sent two requests, the first of which has been handed out.
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
    send_error = 0;
    comm_socket_v4_packet_release(reply);
    comm_socket_v4_packet_release(request);
  }

  // A client whose request has been answered with this reply.
  raw_client answered_client(comm_socket_v4_packet* its_reply) {
    ++now_us;
    raw_client other = bench.connect();
    other.send(request_bytes("c", 9));
    bench.idle();
    bench.meet_and_part();
    comm_socket_v4_client* at_server = nullptr;
    comm_socket_v4_packet* const its_request =
        comm_socket_v4_server_get_packet(bench.server, &at_server);
    EXPECT_NE(its_request, nullptr);
    EXPECT_GT(comm_socket_v4_packet_send_to_client(at_server, its_reply), 0);
    comm_socket_v4_packet_release(its_request);
    return other;
  }

  // Hands out the second request and drops it.
  void pass_over_the_second() const {
    comm_socket_v4_client* next = nullptr;
    comm_socket_v4_packet_release(comm_socket_v4_server_get_packet(bench.server, &next));
  }
  void prepare(std::size_t data_size) {
    reply = qx_test::make_reply(*request, std::string(data_size, 'x'));
  }
  int send() { return comm_socket_v4_packet_send_to_client(sender, reply); }
  // The replies that arrive while the client reads everything available.
  strings read_replies() {
    std::size_t before = 0;
    do {
      before = client.received.size();
      bench.idle();
      client.receive();
    } while (client.received.size() > before);
    return client.replies();
  }
  int wait(std::uint64_t time_us) {
    return comm_socket_v4_wait_for_server_to_client_writeable(sender, now_us + time_us);
  }
};

TEST_F(comm_replies, short_reply_to_the_last_request_is_sent_at_once) {
  pass_over_the_second();
  prepare(10);
  EXPECT_GT(send(), 0);
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, replies_to_requests_that_came_together_are_sent_in_one_call) {
  send_calls = 0;
  prepare(10);
  EXPECT_GT(send(), 0);
  EXPECT_EQ(bench.serve_one(), "b");
  EXPECT_EQ(send_calls, 1);
  EXPECT_EQ(client.replies(), (strings{"7 a OK", "8 b OK"}));
}

TEST_F(comm_replies, reply_is_held_back_for_1_ms_at_most) {
  prepare(10);
  ASSERT_GT(send(), 0);
  now_us += 1000;
  pass_over_the_second();
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, reply_is_sent_even_if_the_next_request_gets_none) {
  prepare(10);
  ASSERT_GT(send(), 0);
  pass_over_the_second();
  EXPECT_EQ(bench.serve_one(), "");
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, reply_is_sent_by_the_next_round_if_no_request_is_taken) {
  prepare(10);
  ASSERT_GT(send(), 0);
  bench.idle();
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, long_replies_are_not_held_back) {
  prepare(16384);
  ASSERT_GT(send(), 0);
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, reply_is_sent_before_its_client_is_dropped) {
  prepare(10);
  ASSERT_GT(send(), 0);
  comm_socket_v4_drop_client(sender);
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
  EXPECT_TRUE(client.is_closed_by_server());
}

TEST_F(comm_replies, reply_is_sent_before_the_server_is_destroyed) {
  prepare(10);
  ASSERT_GT(send(), 0);
  bench.server = comm_socket_v4_destroy(bench.server);
  EXPECT_EQ(client.replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, largest_reply_has_room_after_a_short_one) {
  prepare(10);
  ASSERT_GT(send(), 0);
  comm_socket_v4_packet_release(reply);
  prepare(largest_data);
  EXPECT_GT(send(), 0);
}

TEST_F(comm_replies, largest_reply_has_room_after_held_ones_that_the_kernel_does_not_take) {
  prepare(16300);
  ASSERT_GT(send(), 0);
  comm_socket_v4_packet_release(reply);
  send_error = EAGAIN;
  prepare(largest_data);
  EXPECT_GT(send(), 0);
}

TEST_F(comm_replies, reply_survives_a_lack_of_memory_in_the_kernel) {
  pass_over_the_second();
  prepare(10);
  for (const int error : {ENOBUFS, ENOMEM}) {
    send_error = error;
    EXPECT_GT(send(), 0);
    bench.idle();
    send_error = 0;
    EXPECT_EQ(read_replies(), strings{"7 a OK"});
  }
}

TEST_F(comm_replies, client_that_cannot_be_sent_to_for_5_s_is_gone) {
  pass_over_the_second();
  prepare(10);
  send_error = ENOBUFS;
  ASSERT_GT(send(), 0);
  now_us += 5000000;
  bench.pass();
  EXPECT_EQ(bench.gone, 1);
  EXPECT_TRUE(client.is_closed_by_server());
}

TEST_F(comm_replies, long_reply_is_taken_at_once_and_delivered_as_it_is_read) {
  prepare(long_size);
  EXPECT_GT(send(), 0);
  EXPECT_TRUE(client.replies().empty());
  EXPECT_EQ(read_replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, client_that_never_reads_delays_nobody) {
  prepare(long_size);
  ASSERT_GT(send(), 0);
  raw_client other = bench.connect();
  other.send(request_bytes("c", 9));
  EXPECT_EQ(bench.pass(), strings{"c"});
  EXPECT_EQ(other.replies(), strings{"9 c OK"});
}

TEST_F(comm_replies, no_request_is_handed_out_while_a_reply_waits) {
  prepare(long_size);
  ASSERT_GT(send(), 0);
  EXPECT_EQ(bench.pass(), strings{});
  EXPECT_EQ(read_replies(), strings{"7 a OK"});
  EXPECT_EQ(bench.pass(), strings{"b"});
  EXPECT_EQ(client.replies(), strings{"8 b OK"});
}

TEST_F(comm_replies, nothing_is_read_while_a_reply_waits) {
  prepare(long_size);
  ASSERT_GT(send(), 0);
  const std::string much = request_bytes("c", 9, std::string(100000, 'x'));
  std::size_t sent = client.send(much);
  bench.idle();
  bench.idle();
  while (const std::size_t more = client.send(std::string_view(much).substr(0, 1000))) {
    sent += more;
  }
  const std::size_t full = sent;
  bench.idle();
  EXPECT_EQ(client.send("x"), 0U) << full;
}

TEST_F(comm_replies, a_waiting_reply_causes_a_pass_only_when_more_can_be_sent) {
  prepare(long_size);
  ASSERT_GT(send(), 0);
  EXPECT_FALSE(bench.is_ready());
  client.receive();
  EXPECT_TRUE(bench.is_ready());
}

TEST_F(comm_replies, client_is_not_gone_while_its_reply_is_half_sent) {
  prepare(long_size);
  ASSERT_GT(send(), 0);
  client.finish_sending();
  comm_socket_v4_packet_release(request);
  request = nullptr;
  bench.idle();
  bench.meet_and_part();
  EXPECT_EQ(bench.gone, 0);
  EXPECT_EQ(read_replies(), strings{"7 a OK"});
  EXPECT_EQ(bench.pass_all(), strings{"b"});
  EXPECT_EQ(bench.gone, 1);
  EXPECT_EQ(client.replies(), strings{"8 b OK"});
}

TEST_F(comm_replies, client_that_takes_nothing_for_5_s_is_gone) {
  prepare(long_size);
  ASSERT_GT(send(), 0);
  now_us += 4999999;
  bench.idle();
  bench.meet_and_part();
  EXPECT_EQ(bench.gone, 0);
  now_us += 1;
  EXPECT_EQ(bench.pass(), strings{});  // its other request is dropped
  EXPECT_EQ(bench.gone, 1);
  EXPECT_TRUE(client.is_closed_by_server());
}

TEST_F(comm_replies, client_that_takes_a_little_every_4_s_is_kept) {
  prepare(2 * long_size);
  ASSERT_GT(send(), 0);
  for (int i = 0; i < 5; ++i) {
    now_us += 4000000;
    client.receive(300000);
    bench.idle();
  }
  EXPECT_EQ(read_replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, time_limit_starts_again_with_each_reply) {
  prepare(long_size);
  ASSERT_GT(send(), 0);
  now_us += 4000000;
  EXPECT_EQ(read_replies(), strings{"7 a OK"});
  now_us += 4000000;
  comm_socket_v4_packet_release(reply);
  prepare(long_size);
  ASSERT_GT(send(), 0);
  now_us += 4000000;
  bench.idle();
  EXPECT_EQ(read_replies(), strings{"7 a OK"});
}

TEST_F(comm_replies, a_second_reply_waits_for_the_first) {
  prepare(long_size);
  ASSERT_GT(send(), 0);
  ASSERT_GT(send(), 0);
  EXPECT_EQ(read_replies(), (strings{"7 a OK", "7 a OK"}));
}

TEST_F(comm_replies, output_of_a_client_is_limited) {
  prepare(16000000);
  ASSERT_GT(send(), 0);
  EXPECT_EQ(send(), 0);
  EXPECT_EQ(read_replies(), strings{"7 a OK"});
  EXPECT_GT(send(), 0);
}

TEST_F(comm_replies, total_output_is_limited_by_dropping_the_slowest) {
  prepare(16000000);
  ASSERT_GT(send(), 0);
  std::vector<raw_client> others;
  for (int i = 0; i < 4; ++i) {
    others.push_back(answered_client(reply));
  }
  EXPECT_TRUE(client.is_closed_by_server());
  for (raw_client& other : others) {
    EXPECT_FALSE(other.is_closed_by_server());
  }
}

TEST_F(comm_replies, total_output_is_limited_however_little_the_slowest_have_to_read) {
  pass_over_the_second();
  send_error = EAGAIN;
  prepare(10);
  std::vector<raw_client> slowest;
  for (int i = 0; i < 10; ++i) {
    slowest.push_back(answered_client(reply));
  }
  comm_socket_v4_packet_release(reply);
  prepare(16000000);
  std::vector<raw_client> large;
  for (int i = 0; i < 6; ++i) {
    large.push_back(answered_client(reply));
  }
  const auto is_open = [](raw_client& each) { return !each.is_closed_by_server(); };
  EXPECT_EQ(std::count_if(slowest.begin(), slowest.end(), is_open), 0);
  EXPECT_EQ(std::count_if(large.begin(), large.end(), is_open), 4);
  EXPECT_TRUE(is_open(large.back()));
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
  prepare(largest_data);
  EXPECT_GT(send(), 0);
  for (int i = 0; i < 10000 && client.received.size() < 16777216U + 32U; ++i) {
    bench.idle();
    client.receive();
  }
  EXPECT_EQ(client.received.size(), 16777216U + 32U);
}

TEST_F(comm_replies, client_that_left_is_an_error_but_not_a_signal) {
  pass_over_the_second();
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
  ASSERT_GT(send(), 0);
  EXPECT_EQ(wait(20000), 0);
  client.receive();
  EXPECT_GT(wait(60000000), 0);
}

}  // namespace
