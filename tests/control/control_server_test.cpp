// One round of the control server, with the socket library and the commands replaced by records of
// their calls: the order of the round, and replies that cannot be made or sent.
#include <cstdlib>
#include <deque>

#include <gmock/gmock.h>

#include "control/commands.h"
#include "control/control_server.h"
#include "control/reply.h"
#include "control/selection.h"
#include "platform/clock.h"
#include "platform/comm_socket_v4.h"
#include "queue/process_state.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// A scripted connection: clients are represented by numbers, because nobody dereferences them.
std::deque<int> arriving;
std::deque<int> leaving;
std::deque<comm_socket_v4_packet*> pending;
std::deque<int> send_results;
int idle_result = 0;
int listening_fd = 3;
int requesting = 8;
bool replies_can_be_made = true;
bool client_takes_replies = true;
bool signal_during_test = false;
std::uint64_t clock_us = 1000;
std::vector<std::string> calls;

comm_socket_v4* some_server() {
  return reinterpret_cast<comm_socket_v4*>(&calls);
}

// Clients are only distinguished by their addresses; number 0 means none.
char places[100];

comm_socket_v4_client* client_of(int number) {
  return number == 0 ? nullptr : reinterpret_cast<comm_socket_v4_client*>(&places[number]);
}

std::string name_of(const comm_socket_v4_client* client) {
  return std::to_string(reinterpret_cast<const char*>(client) - places);
}

template <typename T>
T take(std::deque<T>& queue, T none) {
  if (queue.empty()) { return none; }
  const T first = queue.front();
  queue.pop_front();
  return first;
}

void note(const std::string& call) {
  calls.push_back(call);
}

}  // namespace

decltype(DIE) DIE{0};
void trigger_all_turns() {}

std::uint64_t monotonic_clock_us() {
  return clock_us;
}
int comm_socket_v4_fd(const comm_socket_v4*) {
  return listening_fd;
}
int comm_socket_v4_idle(comm_socket_v4*) {
  note("idle");
  return idle_result;
}
comm_socket_v4_client* comm_socket_v4_accept_connection(comm_socket_v4*) {
  note("accept");
  return client_of(take(arriving, 0));
}
comm_socket_v4_client* comm_socket_v4_get_disconnected_client(comm_socket_v4*) {
  note("disconnected");
  return client_of(take(leaving, 0));
}
void comm_socket_v4_free_client(comm_socket_v4_client* client) {
  note("free " + name_of(client));
}
comm_socket_v4_packet* comm_socket_v4_server_get_packet(comm_socket_v4*,
                                                        comm_socket_v4_client** client) {
  *client = client_of(requesting);
  return take<comm_socket_v4_packet*>(pending, nullptr);
}
comm_socket_v4_packet* comm_socket_v4_packet_create() {
  return replies_can_be_made ? new comm_socket_v4_packet : nullptr;
}
void comm_socket_v4_packet_release(comm_socket_v4_packet* packet) {
  note(packet->words.empty() ? "release reply" : "release request");
  delete packet;
}
int comm_socket_v4_packet_send_to_client(comm_socket_v4_client* client, comm_socket_v4_packet*) {
  note("send to " + name_of(client));
  return take(send_results, 1);
}
void comm_socket_v4_drop_client(comm_socket_v4_client* client) {
  note("drop " + name_of(client));
}
bool comm_socket_v4_client_takes_replies(const comm_socket_v4_client*) {
  return client_takes_replies;
}
int comm_socket_v4_wait_for_server_to_client_writeable(comm_socket_v4_client* client,
                                                       std::uint64_t deadline_us) {
  note("wait for " + name_of(client) + " " + std::to_string(deadline_us - clock_us));
  return 0;
}
void qxmi_default_unknown_command_error_response(const comm_socket_v4_packet*,
                                                 comm_socket_v4_packet*, int flags) {
  note("unknown command " + std::to_string(flags));
}

item_selection::item_selection(const comm_socket_v4_packet&) : entry_id("one") {}
QueueItem* item_selection::find() const {
  return reinterpret_cast<QueueItem*>(&calls);
}
void refuse(comm_socket_v4_packet&, const char*, const char* status) {
  note(status);
}

// Simulates a command during which a termination signal arrives.
void do_cmd_test(const command_call&) {
  note("do test");
  if (signal_during_test) { ++DIE; }
}
void do_cmd_add(const command_call&) {
  note("do add");
}
void do_cmd_remove(const command_call&) {
  note("do remove");
}
void do_cmd_modify(const command_call&) {
  note("do modify");
}
void do_cmd_ready(const command_call&) {
  note("do ready");
}
void do_cmd_cancel(const command_call&) {
  note("do cancel");
}
void do_cmd_restart(const command_call&) {
  note("do restart");
}
void do_cmd_pause(const command_call&) {
  note("do pause");
}
void do_cmd_resume(const command_call&) {
  note("do resume");
}
void do_cmd_list(const command_call&) {
  note("do list");
}

class control_server : public ::testing::Test {
protected:
  control_server() {
    calls.clear();
    server_socket = some_server();
    idle_result = 0;
    listening_fd = 3;
    replies_can_be_made = true;
    client_takes_replies = true;
  }
  static void request(const std::string& word, std::uint32_t flags = 1) {
    auto* const packet = new comm_socket_v4_packet;
    packet->words = {word};
    packet->flags = flags;
    pending.push_back(packet);
  }
  // The calls of a round after the first three, which are always the same.
  static std::vector<std::string> calls_for_requests() {
    EXPECT_EQ(handle_server_socket(), 0);
    return {calls.begin() + 3, calls.end()};
  }
};

TEST_F(control_server, reads_then_accepts_then_closes_then_answers) {
  arriving = {1, 2};
  leaving = {3};
  request("test");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(handle_server_socket(), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "* new connection\n* new connection\n* disconnected client\n");
  EXPECT_THAT(calls, ElementsAre("idle", "accept", "accept", "accept", "disconnected", "free 3",
                                 "disconnected", "do test", "send to 8", "release reply",
                                 "release request"));
}

TEST_F(control_server, answers_everything_pending) {
  request("list");
  request("nonsense");
  EXPECT_THAT(calls_for_requests(),
              ElementsAre("do list", "send to 8", "release reply", "release request",
                          "unknown command 0", "send to 8", "release reply", "release request"));
}

TEST_F(control_server, passes_each_word_to_its_command) {
  for (const char* word : {"test", "add", "remove", "modify", "ready", "cancel", "restart", "pause",
                           "resume", "list"}) {
    calls.clear();
    request(word);
    EXPECT_EQ(calls_for_requests().front(), std::string("do ") + word);
  }
}

TEST_F(control_server, carries_out_only_changes_for_a_client_that_has_gone) {
  client_takes_replies = false;
  send_results = {-1};
  for (const char* word : {"list", "test", "nonsense", "pause"}) {
    request(word);
  }
  ::testing::internal::CaptureStderr();
  EXPECT_THAT(calls_for_requests(),
              ElementsAre("release request", "release request", "release request", "do pause",
                          "send to 8", "release reply", "release request"));
  ::testing::internal::GetCapturedStderr();
}

TEST_F(control_server, fails_if_the_socket_fails) {
  for (const int result : {-1, 1}) {
    calls.clear();
    idle_result = result;
    EXPECT_EQ(handle_server_socket(), -1);
    EXPECT_THAT(calls, ElementsAre("idle"));
  }
}

TEST_F(control_server, fails_without_using_a_server_that_does_not_listen) {
  listening_fd = -1;
  EXPECT_EQ(handle_server_socket(), -1);
  server_socket = nullptr;
  EXPECT_EQ(handle_server_socket(), -1);
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(control_server, does_not_carry_out_a_request_it_could_not_answer) {
  replies_can_be_made = false;
  request("add");
  EXPECT_THAT(calls_for_requests(), ElementsAre("drop 8", "release request"));
}

TEST_F(control_server, does_not_carry_out_a_request_that_wants_no_answer) {
  request("add", 2);
  request("add", 0);
  EXPECT_THAT(calls_for_requests(), ElementsAre("release request", "release request"));
}

TEST_F(control_server, aborts_on_a_request_without_a_client) {
  requesting = 0;
  request("test");
  EXPECT_DEATH(handle_server_socket(), "client != nullptr");
  requesting = 8;
  EXPECT_EQ(handle_server_socket(), 0);
}

TEST_F(control_server, waits_half_a_second_at_a_time_for_a_slow_client) {
  send_results = {0, 0, 1};
  request("test");
  ::testing::internal::CaptureStderr();
  EXPECT_THAT(calls_for_requests(),
              ElementsAre("do test", "send to 8", "wait for 8 500000", "send to 8",
                          "wait for 8 500000", "send to 8", "release reply", "release request"));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(control_server, answers_everything_pending_in_spite_of_a_signal) {
  signal_during_test = true;
  request("test");
  request("list");
  EXPECT_THAT(calls_for_requests(),
              ElementsAre("do test", "send to 8", "release reply", "release request", "do list",
                          "send to 8", "release reply", "release request"));
  signal_during_test = false;
}

TEST_F(control_server, continues_when_a_reply_cannot_be_sent) {
  send_results = {0, -1, 1};
  request("test");
  request("list");
  ::testing::internal::CaptureStderr();
  EXPECT_THAT(calls_for_requests(),
              ElementsAre("do test", "send to 8", "wait for 8 500000", "send to 8", "release reply",
                          "release request", "do list", "send to 8", "release reply",
                          "release request"));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Failed to send packet to client\n");
}
