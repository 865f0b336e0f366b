// Packets of the control socket and their wire form (docs/wire-format.md). Nothing here blocks or
// touches a descriptor; server, client and tests share it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The sender wants a reply.
constexpr std::uint32_t comm_socket_v4_flag_want_reply = 1;
// An option of the sender that the reply copies back.
constexpr std::uint32_t comm_socket_v4_flag_option = 2;

// The result code of every refusal; 0 is success.
constexpr std::uint64_t comm_socket_v4_result_refused = 1000;

// A request or a reply. Texts (words, names, values) hold no NUL byte; data is raw.
struct comm_socket_v4_packet {
  std::uint32_t flags = 0;
  std::uint64_t request_id = 0;
  std::uint64_t result_code = 0;
  std::vector<std::string> words;  // command, in a reply then the status
  std::vector<std::pair<std::string, std::string>> nv_pairs;
  std::string data;

  // Kept by the socket library; of no meaning to others.
  enum class stage { blank, words, body, complete };
  stage written = stage::blank;
  std::shared_ptr<const void> claim;  // of a request: keeps its client open until it is released
};

// What makes a request differ from a reply on the wire.
struct comm_packet_v4_kind {
  std::size_t largest_body;  // bytes
  std::size_t fewest_words;
};
constexpr comm_packet_v4_kind comm_packet_v4_request{std::size_t{1} << 20, 1};
constexpr comm_packet_v4_kind comm_packet_v4_reply{std::size_t{16} << 20, 2};

constexpr std::size_t comm_packet_v4_header_size = 32;
constexpr std::size_t comm_packet_v4_most_words = 64;
constexpr std::size_t comm_packet_v4_most_pairs = 4096;

// Puts the packet's wire form into `wire`. False, with `wire` empty, when the packet breaks a limit
// of its kind or a text of it holds a NUL byte.
bool comm_packet_v4_encode(const comm_socket_v4_packet& packet, const comm_packet_v4_kind& kind,
                           std::string& wire);

enum class comm_packet_v4_state { incomplete, whole, malformed };

// What stands at the front of a stream. `size` is the length in bytes of the packet there, header
// included; it is set for a whole packet only.
struct comm_packet_v4_front {
  comm_packet_v4_state state;
  std::size_t size;
};

// Looks at the bytes that have come so far, header only: as soon as they cannot become a packet
// (wrong magic, length over the kind's limit, reserved field not 0) they are malformed, however few
// they are. Whole says that all bytes are there, not that the body is well formed.
comm_packet_v4_front comm_packet_v4_look(std::string_view bytes, const comm_packet_v4_kind& kind);

// Reads one whole packet, neither a byte less nor more, into a blank `packet`. False when it is
// malformed; `packet` is then to be thrown away.
bool comm_packet_v4_decode(std::string_view bytes, const comm_packet_v4_kind& kind,
                           comm_socket_v4_packet& packet);
