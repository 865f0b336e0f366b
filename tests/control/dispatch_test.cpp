// Common to all commands: which one runs, for which item, and the form of the reply.
#include <gmock/gmock.h>

#include "control/control_server.h"
#include "platform/comm_socket_v4.h"
#include "queue/process_state.h"
#include "queue/transcode_queue.h"
#include "tests/control/control_bench.h"

using namespace qx_test;
using ::testing::HasSubstr;

class dispatch : public control_bench {};

TEST_F(dispatch, test_answers_with_a_pair) {
  const auto reply = request("test");
  EXPECT_EQ(reply.words, (strings{"test", "OK"}));
  EXPECT_EQ(reply.pairs, (name_values{{"name", "value"}}));
  EXPECT_EQ(reply.result_code, 0U);
  EXPECT_EQ(reply.data, "");
  EXPECT_TRUE(nothing_is_armed());
}

TEST_F(dispatch, reply_copies_only_request_id_and_option_flag) {
  request_packet packet;
  packet.words = {"test"};
  packet.request_id = 0xfedcba9876543210;
  for (const auto& [sent, answered] : {std::pair(1U, 0U), {3U, 2U}, {0xffffffffU, 2U}}) {
    packet.flags = sent;
    const auto reply = request(packet);
    EXPECT_EQ(reply.request_id, 0xfedcba9876543210);
    EXPECT_EQ(reply.flags, answered) << sent;
  }
}

TEST_F(dispatch, every_item_has_a_turn_after_a_command_that_may_change_one) {
  const QueueItem& item = add_item(TRANSCODE_READY);
  for (const char* word : {"modify", "ready", "cancel", "restart", "pause", "resume", "remove"}) {
    all_turns_due = false;
    command(word, item, {{"no such field", "1"}});
    EXPECT_TRUE(all_turns_due) << word;
  }
}

TEST_F(dispatch, questions_bring_no_turns) {
  const QueueItem& item = add_item(TRANSCODE_READY);
  all_turns_due = false;
  request("test");
  request("list");
  command("list", item);
  EXPECT_FALSE(all_turns_due);
}

TEST_F(dispatch, request_that_wants_no_reply_does_nothing) {
  request_packet silent;
  silent.words = {"add"};
  for (const std::uint32_t flags : {0U, 2U, 0xfffffffeU}) {
    silent.flags = flags;
    send_and_serve(silent.encoded());
  }
  request_packet loud;
  loud.words = {"test"};
  loud.request_id = 99;
  EXPECT_EQ(request(loud).request_id, 99U);
  EXPECT_TRUE(transcode_queue.empty());
  EXPECT_TRUE(nothing_is_armed());
}

TEST_F(dispatch, unknown_command_is_named_in_its_refusal) {
  for (const char* word : {"foo", "Test", "test ", " test", "tes", "tests", "LIST", ""}) {
    const auto reply = request(word);
    EXPECT_EQ(reply.words, (strings{word, "UNKNOWN COMMAND"}));
    EXPECT_EQ(reply.result_code, 1000U);
    EXPECT_TRUE(reply.pairs.empty() && reply.data.empty());
  }
}

TEST_F(dispatch, further_words_and_data_are_ignored) {
  request_packet packet;
  packet.words = {"test", "add", "remove"};
  packet.data = "data";
  EXPECT_EQ(request(packet).words, (strings{"test", "OK"}));
}

TEST_F(dispatch, pipelined_requests_are_answered_in_order) {
  request_packet packet;
  std::string bytes;
  for (const std::uint64_t id : {1U, 2U, 3U}) {
    packet.words = {id == 2 ? "no such command" : "test"};
    packet.request_id = id;
    bytes += packet.encoded();
  }
  send_and_serve(bytes);
  for (const std::uint64_t id : {1U, 2U, 3U}) {
    const auto reply = receive();
    EXPECT_EQ(reply.request_id, id);
    EXPECT_EQ(reply.status(), id == 2 ? "UNKNOWN COMMAND" : "OK");
  }
}

TEST_F(dispatch, connections_are_logged_on_standard_error) {
  ::testing::internal::CaptureStderr();
  {
    const raw_connection other(folder_ + "/socket");
    request("test");
  }
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(handle_server_socket(), 0);
  }
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "* new connection\n* new connection\n* disconnected client\n");
}

TEST_F(dispatch, fails_without_a_server) {
  comm_socket_v4* const saved = server_socket;
  server_socket = nullptr;
  EXPECT_EQ(handle_server_socket(), -1);
  server_socket = comm_socket_v4_create();
  EXPECT_EQ(handle_server_socket(), -1) << "a server that does not listen";
  comm_socket_v4_destroy(server_socket);
  server_socket = saved;
  EXPECT_EQ(handle_server_socket(), 0);
}

class item_commands : public control_bench, public ::testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(, item_commands,
                         ::testing::Values("remove", "modify", "ready", "cancel", "restart",
                                           "pause", "resume"));

TEST_P(item_commands, refuse_a_request_that_names_no_item) {
  add_item();
  for (const name_values& pairs : {name_values{},
                                   {{"entry id", ""}},
                                   {{"fileops job id", "-1"}},
                                   {{"fileops job id", "-7"}},
                                   {{"fileops job id", "0xffffffff"}},
                                   {{"Entry id", "x"}, {"fileops job", "1"}},
                                   {{"fileops job id", "1"}, {"fileops job id", "-1"}}}) {
    const auto reply = request(GetParam(), pairs);
    EXPECT_EQ(reply.words, (strings{GetParam(), "ENTRY NOT SPECIFIED"}));
    EXPECT_EQ(reply.result_code, 1000U);
    EXPECT_TRUE(reply.pairs.empty() && reply.data.empty());
  }
  EXPECT_TRUE(nothing_is_armed());
}

TEST_P(item_commands, refuse_an_item_that_is_not_there) {
  QueueItem& item = add_item();
  for (const name_values& pairs : {name_values{{"entry id", "nobody"}},
                                   {{"fileops job id", "2"}},
                                   {{"fileops job id", "0"}},
                                   {{"fileops job id", "no digits"}},
                                   {{"entry id", item.entry_id + " "}},
                                   {{"entry id", item.entry_id}, {"entry id", "nobody"}},
                                   {{"fileops job id", "1"}, {"fileops job id", "2"}},
                                   {{"fileops job id", "1"}, {"entry id", "nobody"}}}) {
    const auto reply = request(GetParam(), pairs);
    EXPECT_EQ(reply.words, (strings{GetParam(), "NOT FOUND"})) << pairs[0].second;
    EXPECT_EQ(reply.result_code, 1000U);
    EXPECT_TRUE(reply.pairs.empty() && reply.data.empty());
  }
  EXPECT_TRUE(nothing_is_armed());
}

class selection : public control_bench {
protected:
  // The entry id of the item that "pause" selects.
  std::string selected(const name_values& pairs) {
    return request("pause", pairs).json()["entry id"].string_value();
  }
};

TEST_F(selection, is_by_entry_id) {
  add_item();
  const std::string id = add_item().entry_id;
  EXPECT_EQ(selected({{"entry id", id}}), id);
  EXPECT_EQ(selected({{"entry id", "nobody"}, {"entry id", id}}), id);
}

TEST_F(selection, is_by_job_in_any_base) {
  QueueItem& item = add_item();
  item.fileops_job_id = 31;
  for (const char* number : {"31", "0x1F", "0X1f", "037", " +31", "31 and more", "4294967327"}) {
    EXPECT_EQ(selected({{"fileops job id", number}}), item.entry_id) << number;
  }
}

TEST_F(selection, includes_job_zero) {
  QueueItem& item = add_item();
  item.fileops_job_id = 0;
  EXPECT_EQ(selected({{"fileops job id", "0"}}), item.entry_id);
  EXPECT_EQ(selected({{"fileops job id", "no digits"}}), item.entry_id);
}

TEST_F(selection, prefers_the_entry_id_to_the_job) {
  QueueItem& first = add_item();
  QueueItem& second = add_item();
  EXPECT_EQ(selected({{"fileops job id", std::to_string(first.fileops_job_id)},
                      {"entry id", second.entry_id}}),
            second.entry_id);
  EXPECT_EQ(selected({{"entry id", ""}, {"fileops job id", std::to_string(second.fileops_job_id)}}),
            second.entry_id);
}

TEST_F(selection, finds_nothing_for_values_that_are_not_an_id) {
  QueueItem& item = add_item();
  item.entry_id.clear();
  item.fileops_job_id = -1;
  EXPECT_EQ(transcode_queue_find_entry_id(""), nullptr);
  EXPECT_EQ(transcode_queue_find_fileops_job_id_iterator(-1), transcode_queue.end());
}

TEST_F(selection, takes_the_first_of_two_matches_and_skips_null_entries) {
  transcode_queue.push_back(nullptr);
  QueueItem& first = add_item();
  QueueItem& second = add_item();
  second.fileops_job_id = first.fileops_job_id;
  EXPECT_EQ(selected({{"fileops job id", std::to_string(first.fileops_job_id)}}), first.entry_id);
}
