// The wire form of packets: the documented bytes, every limit, every kind of malformed packet.
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "platform/comm_packet_v4.h"

namespace {

using state = comm_packet_v4_state;

std::string number(std::size_t value, int size = 4) {
  std::string bytes;
  for (; size > 0; --size, value >>= 8U) {
    bytes += static_cast<char>(value);
  }
  return bytes;
}

std::string counted(const std::string& text) {
  return number(text.size()) + text;
}

std::string header(std::size_t body_length) {
  return "CMS4" + number(body_length) + number(7, 8) + number(0, 8) + number(1) + number(0);
}

std::string framed(const std::string& body) {
  return header(body.size()) + body;
}

// The examples in docs/wire-format.md, recognized by their lines of bytes; an example ends at the
// first line without any.
std::vector<std::string> documented_packets() {
  std::ifstream document(QX_SOURCE_FOLDER "/docs/wire-format.md");
  std::vector<std::string> packets(1);
  for (std::string line; std::getline(document, line);) {
    const bool is_bytes = line.find_first_not_of(" 0123456789ABCDEF") == std::string::npos &&
                          line.substr(0, 4) == "    ";
    if (!is_bytes && !packets.back().empty()) { packets.emplace_back(); }
    std::istringstream numbers(is_bytes ? line : "");
    for (int byte = 0; numbers >> std::hex >> byte;) {
      packets.back() += static_cast<char>(byte);
    }
  }
  packets.pop_back();
  return packets;
}

// The request `test`, flags 1, request id 7.
const std::string example("CMS4\x14\0\0\0\7\0\0\0\0\0\0\0"
                          "\0\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0"
                          "\1\0\0\0\4\0\0\0test\0\0\0\0\0\0\0\0",
                          52);

comm_socket_v4_packet example_packet() {
  comm_socket_v4_packet packet;
  packet.flags = 1;
  packet.request_id = 7;
  packet.words = {"test"};
  return packet;
}

std::string encoded(const comm_socket_v4_packet& packet,
                    const comm_packet_v4_kind& kind = comm_packet_v4_request) {
  std::string wire = "untouched";
  return comm_packet_v4_encode(packet, kind, wire) ? wire : "(refused)" + wire;
}

bool is_decoded(const std::string& wire, const comm_packet_v4_kind& kind = comm_packet_v4_request) {
  comm_socket_v4_packet packet;
  return comm_packet_v4_decode(wire, kind, packet);
}

bool is_body_decoded(const std::string& body) {
  return is_decoded(framed(body));
}

state look(const std::string& bytes) {
  return comm_packet_v4_look(bytes, comm_packet_v4_request).state;
}

TEST(comm_packet, example_request_has_the_documented_bytes) {
  EXPECT_EQ(encoded(example_packet()), example);
}

TEST(comm_packet, example_request_is_read_from_the_documented_bytes) {
  comm_socket_v4_packet packet;
  ASSERT_TRUE(comm_packet_v4_decode(example, comm_packet_v4_request, packet));
  EXPECT_EQ(packet.words, std::vector<std::string>{"test"});
  EXPECT_EQ(packet.flags, 1U);
  EXPECT_EQ(packet.request_id, 7U);
  EXPECT_EQ(packet.result_code, 0U);
  EXPECT_TRUE(packet.nv_pairs.empty());
  EXPECT_EQ(packet.data, "");
}

comm_socket_v4_packet example_reply() {
  comm_socket_v4_packet reply;
  reply.request_id = 7;
  reply.words = {"test", "OK"};
  reply.nv_pairs = {{"name", "value"}};
  return reply;
}

TEST(comm_packet, example_reply_is_written_from_its_parts) {
  const std::string body = number(2) + counted("test") + counted("OK") + number(1) +
                           counted("name") + counted("value") + number(0);
  EXPECT_EQ(encoded(example_reply(), comm_packet_v4_reply), "CMS4" + number(body.size()) +
                                                                number(7, 8) + number(0, 8) +
                                                                number(0) + number(0) + body);
}

TEST(comm_packet, examples_in_the_documentation_are_these) {
  EXPECT_EQ(documented_packets(),
            (std::vector<std::string>{example, encoded(example_reply(), comm_packet_v4_reply)}));
}

TEST(comm_packet, encoded_packet_is_decoded_unchanged) {
  comm_socket_v4_packet packet;
  packet.flags = 0xfffffff5;
  packet.request_id = 0x0102030405060708;
  packet.result_code = 1000;
  packet.words = {"", "second", "\xff\n"};
  packet.nv_pairs = {{"b", "1"}, {"a", ""}, {"b", "2"}, {"", "x"}};
  packet.data = std::string("\0raw\0", 5);
  comm_socket_v4_packet read;
  ASSERT_TRUE(comm_packet_v4_decode(encoded(packet), comm_packet_v4_request, read));
  EXPECT_EQ(read.flags, packet.flags);
  EXPECT_EQ(read.request_id, packet.request_id);
  EXPECT_EQ(read.result_code, packet.result_code);
  EXPECT_EQ(read.words, packet.words);
  EXPECT_EQ(read.nv_pairs, packet.nv_pairs);
  EXPECT_EQ(read.data, packet.data);
}

TEST(comm_packet, every_beginning_of_a_packet_is_incomplete) {
  for (std::size_t length = 0; length < example.size(); ++length) {
    EXPECT_EQ(look(example.substr(0, length)), state::incomplete) << length;
    EXPECT_FALSE(is_decoded(example.substr(0, length))) << length;
  }
}

TEST(comm_packet, packet_at_the_front_is_whole_whatever_follows) {
  const comm_packet_v4_front front =
      comm_packet_v4_look(example + "garbage", comm_packet_v4_request);
  EXPECT_EQ(front.state, state::whole);
  EXPECT_EQ(front.size, 52U);
}

TEST(comm_packet, more_than_one_packet_is_not_decoded) {
  EXPECT_FALSE(is_decoded(example + "x"));
}

TEST(comm_packet, wrong_magic_is_malformed_from_the_first_wrong_byte) {
  EXPECT_EQ(look("X"), state::malformed);
  EXPECT_EQ(look("CMS5"), state::malformed);
  EXPECT_EQ(look("GET / HTTP/1.1\r\n"), state::malformed);
}

TEST(comm_packet, reserved_field_that_is_not_0_is_malformed) {
  for (std::size_t i = 28; i < 32; ++i) {
    std::string wire = example;
    wire[i] = 1;
    EXPECT_EQ(look(wire), state::malformed) << i;
  }
}

TEST(comm_packet, body_over_the_limit_is_malformed_on_its_length_alone) {
  EXPECT_EQ(look("CMS4" + number(1048576)), state::incomplete);
  EXPECT_EQ(look("CMS4" + number(1048577)), state::malformed);
  EXPECT_EQ(look("CMS4" + number(0xffffffff)), state::malformed);
}

TEST(comm_packet, body_of_a_reply_may_be_larger) {
  const auto front = [](std::size_t length) {
    return comm_packet_v4_look(header(length), comm_packet_v4_reply).state;
  };
  EXPECT_EQ(front(16777216), state::incomplete);
  EXPECT_EQ(front(16777217), state::malformed);
}

// The body's other 16 bytes are the counts of one word, no pair, and the lengths of word and data.
std::string request_with_data(std::size_t body_length) {
  comm_socket_v4_packet packet;
  packet.words = {""};
  packet.data = std::string(body_length - 16, 'd');
  return encoded(packet);
}

TEST(comm_packet, largest_request_is_written_and_read) {
  const std::string wire = request_with_data(1048576);
  EXPECT_EQ(wire.size(), 32U + 1048576U);
  EXPECT_TRUE(is_decoded(wire));
  EXPECT_EQ(request_with_data(1048577), "(refused)");
}

TEST(comm_packet, largest_reply_is_written_and_read) {
  comm_socket_v4_packet reply;
  reply.words = {"", ""};
  reply.data = std::string(16777216 - 20, 'd');
  EXPECT_TRUE(is_decoded(encoded(reply, comm_packet_v4_reply), comm_packet_v4_reply));
  reply.data += 'd';
  EXPECT_EQ(encoded(reply, comm_packet_v4_reply), "(refused)");
}

TEST(comm_packet, request_needs_one_word_and_a_reply_two) {
  EXPECT_FALSE(is_body_decoded(number(0) + number(0) + number(0)));
  EXPECT_FALSE(is_decoded(example, comm_packet_v4_reply));
  comm_socket_v4_packet packet;
  EXPECT_EQ(encoded(packet), "(refused)");
  packet.words = {"test"};
  EXPECT_EQ(encoded(packet, comm_packet_v4_reply), "(refused)");
}

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (; times > 0; --times) {
    all += text;
  }
  return all;
}

TEST(comm_packet, at_most_64_words) {
  const auto body = [](int words) {
    return number(static_cast<std::size_t>(words)) + repeated(counted("w"), words) + number(0) +
           number(0);
  };
  EXPECT_TRUE(is_body_decoded(body(64)));
  EXPECT_FALSE(is_body_decoded(body(65)));
  comm_socket_v4_packet packet;
  packet.words.resize(65, "w");
  EXPECT_EQ(encoded(packet), "(refused)");
}

TEST(comm_packet, at_most_4096_pairs) {
  const auto body = [](int pairs) {
    return number(1) + counted("w") + number(static_cast<std::size_t>(pairs)) +
           repeated(counted("n") + counted("v"), pairs) + number(0);
  };
  EXPECT_TRUE(is_body_decoded(body(4096)));
  EXPECT_FALSE(is_body_decoded(body(4097)));
  comm_socket_v4_packet packet = example_packet();
  packet.nv_pairs.resize(4097);
  EXPECT_EQ(encoded(packet), "(refused)");
}

TEST(comm_packet, huge_counts_and_lengths_are_malformed) {
  const std::string huge = number(0xffffffff);
  EXPECT_FALSE(is_body_decoded(huge));
  EXPECT_FALSE(is_body_decoded(number(1) + huge + "test" + number(0) + number(0)));
  EXPECT_FALSE(is_body_decoded(number(1) + counted("test") + huge + number(0)));
  EXPECT_FALSE(is_body_decoded(number(1) + counted("test") + number(0) + huge));
}

TEST(comm_packet, text_longer_than_the_rest_is_malformed) {
  EXPECT_FALSE(is_body_decoded(number(1) + number(13) + "test" + number(0) + number(0)));
  EXPECT_FALSE(is_body_decoded(number(1) + counted("test") + number(1) + counted("n") + number(9) +
                               "value" + number(0)));
}

TEST(comm_packet, data_shorter_or_longer_than_the_rest_is_malformed) {
  const std::string front = number(1) + counted("test") + number(0);
  EXPECT_TRUE(is_body_decoded(front + number(3) + "abc"));
  EXPECT_FALSE(is_body_decoded(front + number(4) + "abc"));
  EXPECT_FALSE(is_body_decoded(front + number(2) + "abc"));
}

TEST(comm_packet, body_that_ends_early_is_malformed) {
  const std::string body = number(1) + counted("test") + number(1) + counted("name") +
                           counted("value") + counted("data");
  ASSERT_TRUE(is_body_decoded(body));
  for (std::size_t length = 0; length < body.size(); ++length) {
    EXPECT_FALSE(is_body_decoded(body.substr(0, length))) << length;
  }
}

TEST(comm_packet, bytes_left_over_are_malformed) {
  EXPECT_FALSE(is_body_decoded(example.substr(32) + '\0'));
}

TEST(comm_packet, nul_in_a_text_is_malformed_and_not_written) {
  const std::string nul("a\0b", 3);
  EXPECT_FALSE(is_body_decoded(number(1) + counted(nul) + number(0) + number(0)));
  comm_socket_v4_packet in_word = example_packet();
  in_word.words.push_back(nul);
  EXPECT_EQ(encoded(in_word), "(refused)");
  for (const auto& pair : {std::make_pair(nul, std::string("v")), {"n", nul}}) {
    EXPECT_FALSE(is_body_decoded(number(1) + counted("w") + number(1) + counted(pair.first) +
                                 counted(pair.second) + number(0)));
    comm_socket_v4_packet packet = example_packet();
    packet.nv_pairs = {pair};
    EXPECT_EQ(encoded(packet), "(refused)");
  }
}

// Each packet has exactly one wire form, so anything that can be read must be written back
// unchanged.
TEST(comm_packet, altered_packets_are_refused_or_written_back_unchanged) {
  const std::string wire =
      framed(number(1) + counted("ab") + number(1) + counted("n") + counted("v") + counted("d"));
  int accepted = 0;
  for (std::size_t i = 0; i < wire.size(); ++i) {
    for (int value = 0; value < 256; ++value) {
      std::string altered = wire;
      altered[i] = static_cast<char>(value);
      comm_socket_v4_packet packet;
      if (!comm_packet_v4_decode(altered, comm_packet_v4_request, packet)) { continue; }
      ++accepted;
      EXPECT_EQ(encoded(packet), altered) << i << " " << value;
    }
  }
  EXPECT_GT(accepted, 20 * 256);  // request id, result code and flags may have any value
}

}  // namespace
