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

// The sender expects a reply.
constexpr std::uint32_t comm_socket_v4_flag_want_reply = 1;
// An option for the sender's own use; the reply copies it back.
constexpr std::uint32_t comm_socket_v4_flag_option = 2;

// The result code of every refusal; 0 is success.
constexpr std::uint64_t comm_socket_v4_result_refused = 1000;

// A request or a reply. Words, names and values contain no NUL byte; data is raw bytes.
struct comm_socket_v4_packet {
  std::uint32_t flags = 0;
  std::uint64_t request_id = 0;
  std::uint64_t result_code = 0;
  std::vector<std::string> words;  // the command; in a reply followed by the status
  std::vector<std::pair<std::string, std::string>> nv_pairs;
  std::string data;

  // For the socket library's own use.
  enum class stage { blank, words, body, complete };
  stage written = stage::blank;
  std::shared_ptr<const void> claim;  // of a request: keeps its client open until it is released
};

// The limits that differ between requests and replies.
struct comm_packet_v4_kind {
  std::size_t largest_body;  // bytes
  std::size_t fewest_words;
};
constexpr comm_packet_v4_kind comm_packet_v4_request{std::size_t{1} << 20, 1};
constexpr comm_packet_v4_kind comm_packet_v4_reply{std::size_t{16} << 20, 2};

constexpr std::size_t comm_packet_v4_header_size = 32;
constexpr std::size_t comm_packet_v4_most_words = 64;
constexpr std::size_t comm_packet_v4_most_pairs = 4096;

// Returns the length of the packet's wire form in bytes; 0 if it exceeds a limit of its kind or one
// of its texts contains a NUL byte.
std::size_t comm_packet_v4_size(const comm_socket_v4_packet& packet,
                                const comm_packet_v4_kind& kind);

// Appends the wire form of a packet whose length is `size`. If out of memory, `wire` is unchanged.
void comm_packet_v4_append(const comm_socket_v4_packet& packet, std::size_t size,
                           std::string& wire);

// Stores the packet's wire form in `wire`. Returns false and leaves `wire` empty if the packet has
// none, see comm_packet_v4_size().
bool comm_packet_v4_encode(const comm_socket_v4_packet& packet, const comm_packet_v4_kind& kind,
                           std::string& wire);

enum class comm_packet_v4_state { incomplete, whole, malformed };

// Describes the packet at the front of a stream. `size` is its length in bytes, header included,
// and is set only if the packet is whole.
struct comm_packet_v4_front {
  comm_packet_v4_state state;
  std::size_t size;
};

// Examines the bytes received so far, looking at the header only. They are malformed as soon as
// they cannot be the start of a packet (wrong magic, length over the kind's limit, reserved field
// not 0), however few there are. `whole` means that all bytes have arrived, not that the body is
// well formed.
comm_packet_v4_front comm_packet_v4_look(std::string_view bytes, const comm_packet_v4_kind& kind);

// Reads the packet that fills `bytes`, which are whole according to comm_packet_v4_look(), into
// `packet`, which must be blank. Returns false if they are malformed; the contents of `packet` are
// then unspecified.
bool comm_packet_v4_read(std::string_view bytes, const comm_packet_v4_kind& kind,
                         comm_socket_v4_packet& packet);

// Reads exactly one whole packet from `bytes` into `packet`, which must be blank. Returns false if
// the bytes are malformed; the contents of `packet` are then unspecified.
bool comm_packet_v4_decode(std::string_view bytes, const comm_packet_v4_kind& kind,
                           comm_socket_v4_packet& packet);
