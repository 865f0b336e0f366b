// Malformed packets end their connection, are not carried out, and affect no other client.
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "tests/control/hostile_bytes.h"
#include "tests/support/test_machine.h"

using namespace qx_test;

namespace {

const std::string nul(1, '\0');

#ifdef __SANITIZE_ADDRESS__
const std::string memory_key = "VmRSS:";  // its shadow memory would hide the other figure
#else
const std::string memory_key = "VmData:";  // includes memory that is requested but not used yet
#endif

header_bytes header_of_length(std::uint32_t body_length) {
  header_bytes header;
  header.body_length = body_length;
  return header;
}

std::string packet_with_magic(const std::string& magic) {
  header_bytes header;
  header.magic = magic;
  return header.encoded();
}

std::string packet_with_reserved(std::uint32_t reserved) {
  std::string packet = good_request();
  return packet.replace(28, 4, u32(reserved));
}

// "add", with one part of its body replaced by another.
std::string add_with(const std::string& words, const std::string& pairs, const std::string& data) {
  return packet_with_body(words + pairs + data);
}

const std::string one_word = u32(1) + text("add");

// Every way in which a packet can be malformed, by name.
const std::map<std::string, std::string> malformed = {
    {"text", "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"},
    {"zeros", std::string(100, '\0')},
    {"magic_in_lower_case", packet_with_magic("cms4")},
    {"magic_of_another_version", packet_with_magic("CMS5")},
    {"body_one_byte_too_long", header_of_length(largest_request + 1).encoded()},
    {"body_of_16_mib", header_of_length(16U << 20).encoded()},
    {"body_of_4_gib", header_of_length(0xffffffff).encoded()},
    {"body_of_half_a_number", packet_with_body("\x01")},
    {"empty_body", packet_with_body("")},
    {"reserved_field", packet_with_reserved(1)},
    {"reserved_field_high", packet_with_reserved(0x80000000)},
    {"no_word", add_with(u32(0), u32(0), u32(0))},
    {"too_many_words", request_with_words(65)},
    {"too_many_pairs", request_with_pairs(4097)},
    {"more_words_than_there_are", add_with(u32(2) + text("add"), u32(0), u32(0))},
    {"endless_words", add_with(u32(0xffffffff) + text("add"), u32(0), u32(0))},
    {"endless_pairs", add_with(one_word, u32(0xffffffff), u32(0))},
    {"endless_word", add_with(u32(1) + u32(0xffffffff) + "add", u32(0), u32(0))},
    {"word_up_to_the_wrap", add_with(u32(1) + u32(0xfffffffc) + "add", u32(0), u32(0))},
    {"endless_name", add_with(one_word, u32(1) + u32(0xfffffff0) + "name", u32(0))},
    {"endless_value", add_with(one_word, u32(1) + text("paused") + u32(0x7fffffff), u32(0))},
    {"pair_without_value", add_with(one_word, u32(1) + text("paused"), "")},
    {"endless_data", add_with(one_word, u32(0), u32(0xffffffff))},
    {"data_one_byte_short", add_with(one_word, u32(0), u32(3) + "xy")},
    {"no_data_field", add_with(one_word, u32(0), "")},
    {"no_pairs_field", packet_with_body(one_word)},
    {"trailing_byte", add_with(one_word, u32(0), u32(0) + "x")},
    {"nul_in_word", add_with(u32(1) + text("ad" + nul), u32(0), u32(0))},
    {"nul_in_further_word", add_with(u32(2) + text("add") + text(nul), u32(0), u32(0))},
    {"nul_in_name", add_with(one_word, u32(1) + text("paus" + nul) + text("1"), u32(0))},
    {"nul_in_value", add_with(one_word, u32(1) + text("paused") + text("1" + nul), u32(0))},
};

std::vector<std::string> names_of_malformed() {
  std::vector<std::string> names;
  for (const auto& [name, bytes] : malformed) {
    names.push_back(name);
  }
  return names;
}

}  // namespace

class hostile_packets : public ::testing::Test {
protected:
  hostile_packets() { machine.start(); }
  raw_connection connect() const { return raw_connection(machine.client.socket_path()); }
  void expect_service_well() const {
    EXPECT_EQ(machine.client.request("test").status(), "OK");
    EXPECT_EQ(machine.client.list()["total"], json11::Json(0)) << "nothing of it was carried out";
  }
  long memory_kib() const {
    const std::string status = "/proc/" + std::to_string(machine.service.pid()) + "/status";
    for (const auto& line : lines_of(read_file(status))) {
      if (line.rfind(memory_key, 0) == 0) { return std::stol(line.substr(memory_key.size())); }
    }
    return -1;
  }
  test_machine machine;
};

class malformed_packet : public hostile_packets,
                         public ::testing::WithParamInterface<std::string> {};
INSTANTIATE_TEST_SUITE_P(, malformed_packet, ::testing::ValuesIn(names_of_malformed()),
                         [](const auto& test) { return test.param; });

TEST_P(malformed_packet, only_ends_its_own_connection) {
  const raw_connection bystander = connect();
  const raw_connection hostile = connect();
  ASSERT_TRUE(hostile.send(malformed.at(GetParam())));
  EXPECT_TRUE(hostile.closed_by_peer()) << "a reply, or the connection stays";
  ASSERT_TRUE(bystander.send(good_request()));
  EXPECT_EQ(bystander.receive().status(), "OK");
  expect_service_well();
}

TEST_P(malformed_packet, does_not_undo_complete_packets_before_it) {
  const raw_connection hostile = connect();
  ASSERT_TRUE(hostile.send(good_request() + good_request() + malformed.at(GetParam())));
  EXPECT_EQ(hostile.receive().status(), "OK");
  EXPECT_EQ(hostile.receive().status(), "OK");
  EXPECT_TRUE(hostile.closed_by_peer());
  expect_service_well();
}

TEST_F(hostile_packets, at_the_limits_are_still_served) {
  const std::size_t all_but_data = 20;
  for (const std::string& packet :
       {request_with_data(largest_request - all_but_data), request_with_pairs(4096),
        request_with_words(64), good_request().replace(24, 4, u32(0xffffffff)),
        good_request().replace(8, 16, std::string(16, '\xff'))}) {
    const raw_connection connection = connect();
    ASSERT_TRUE(connection.send(packet));
    EXPECT_EQ(connection.receive().status(), "OK") << packet.size();
  }
}

TEST_F(hostile_packets, that_come_byte_by_byte_are_served) {
  const raw_connection slow = connect();
  for (const char byte : good_request()) {
    ASSERT_TRUE(slow.send({&byte, 1}));
    EXPECT_EQ(machine.client.request("test").status(), "OK") << "nobody waits for the slow one";
  }
  EXPECT_EQ(slow.receive().status(), "OK");
}

TEST_F(hostile_packets, truncated_at_any_byte_do_nothing) {
  request_packet add;
  add.words = {"add"};
  add.pairs = {{"paused", "1"}};
  const std::string bytes = add.encoded();
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    const raw_connection hostile = connect();
    ASSERT_TRUE(hostile.send(std::string_view(bytes).substr(0, length)));
    hostile.finish_sending();
    EXPECT_TRUE(hostile.closed_by_peer()) << length;
  }
  expect_service_well();
}

TEST_F(hostile_packets, changed_at_random_do_no_harm) {
  std::mt19937 random(4711);
  request_packet list;
  list.words = {"list", "x"};
  list.pairs = {{"start", "1"}, {"end", "0x10"}};
  for (int i = 0; i < 500; ++i) {
    std::string bytes = list.encoded();
    for (auto changes = random() % 4 + 1; changes > 0; --changes) {
      bytes[random() % bytes.size()] = static_cast<char>(random());
    }
    const raw_connection hostile = connect();
    ASSERT_TRUE(hostile.send(bytes));
  }
  expect_service_well();
}

TEST_F(hostile_packets, do_not_cost_memory_before_they_arrive) {
  const long before = memory_kib();
  std::vector<std::unique_ptr<raw_connection>> halves;
  const std::string half = header_of_length(largest_request).encoded() + u32(1);
  for (int i = 0; i < 200; ++i) {
    halves.push_back(std::make_unique<raw_connection>(machine.client.socket_path()));
    ASSERT_TRUE(halves.back()->send(half));
  }
  expect_service_well();
  EXPECT_LT(memory_kib() - before, 100 * 1024) << "of 200 MiB announced";
}
