// Encodes and decodes packets.
//
// Integers are little-endian. Header: magic, u32 body length, u64 request id, u64 result code, u32
// flags, u32 reserved (0). Body: a u32 count and that many words, a u32 count and that many pairs,
// then the data. A text, like the data, is a u32 length followed by its bytes. The parts fill the
// body exactly.
#include "platform/comm_packet_v4.h"

#include <algorithm>
#include <cstring>

#include <endian.h>

namespace {

constexpr std::string_view magic = "CMS4";
constexpr std::size_t body_length_end = 8;  // offset just after the header's body length

// Fewer bytes than the number has stand for its low ones.
std::uint64_t little_endian(std::string_view bytes) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof value));
  return le64toh(value);
}

void append_number(std::string& wire, std::uint64_t value, std::size_t size) {
  const std::uint64_t bytes = htole64(value);
  wire.append(reinterpret_cast<const char*>(&bytes), size);
}

void append_bytes(std::string& wire, std::string_view bytes) {
  append_number(wire, bytes.size(), 4);
  wire += bytes;
}

bool is_text(std::string_view bytes) {
  return bytes.find('\0') == std::string_view::npos;
}

// Takes parts off the front of a packet's bytes. Once a part is missing the reader stays broken, so
// callers need to check only once, at the end.
class part_reader {
public:
  explicit part_reader(std::string_view bytes) : rest_(bytes) {}

  std::string_view take(std::size_t size) {
    broken_ = broken_ || size > rest_.size();
    const std::string_view taken = rest_.substr(0, broken_ ? 0 : size);
    rest_.remove_prefix(taken.size());
    return taken;
  }
  std::uint32_t number() { return static_cast<std::uint32_t>(little_endian(take(4))); }
  std::uint64_t long_number() { return little_endian(take(8)); }

  // Reads a count of the items that follow. A count above `most` breaks the packet and reads as 0.
  std::size_t count(std::size_t most) {
    const std::size_t count = number();
    broken_ = broken_ || count > most;
    return broken_ ? 0 : count;
  }
  std::string text() {
    const std::string_view bytes = take(number());
    broken_ = broken_ || !is_text(bytes);
    return std::string(bytes);
  }
  bool is_used_up() const { return !broken_ && rest_.empty(); }

private:
  std::string_view rest_;
  bool broken_ = false;
};

bool keeps_limits(const comm_socket_v4_packet& packet, const comm_packet_v4_kind& kind) {
  return packet.words.size() >= kind.fewest_words &&
         packet.words.size() <= comm_packet_v4_most_words &&
         packet.nv_pairs.size() <= comm_packet_v4_most_pairs &&
         std::all_of(packet.words.begin(), packet.words.end(), is_text) &&
         std::all_of(packet.nv_pairs.begin(), packet.nv_pairs.end(),
                     [](const auto& pair) { return is_text(pair.first) && is_text(pair.second); });
}

std::size_t body_length(const comm_socket_v4_packet& packet) {
  std::size_t length = 4 + 4 + 4 + packet.data.size();
  for (const std::string& word : packet.words) {
    length += 4 + word.size();
  }
  for (const auto& [name, value] : packet.nv_pairs) {
    length += 4 + name.size() + 4 + value.size();
  }
  return length;
}

void append_header(std::string& wire, const comm_socket_v4_packet& packet, std::size_t length) {
  wire += magic;
  append_number(wire, length, 4);
  append_number(wire, packet.request_id, 8);
  append_number(wire, packet.result_code, 8);
  append_number(wire, packet.flags, 4);
  append_number(wire, 0, 4);
}

void append_body(std::string& wire, const comm_socket_v4_packet& packet) {
  append_number(wire, packet.words.size(), 4);
  for (const std::string& word : packet.words) {
    append_bytes(wire, word);
  }
  append_number(wire, packet.nv_pairs.size(), 4);
  for (const auto& [name, value] : packet.nv_pairs) {
    append_bytes(wire, name);
    append_bytes(wire, value);
  }
  append_bytes(wire, packet.data);
}

}  // namespace

std::size_t comm_packet_v4_size(const comm_socket_v4_packet& packet,
                                const comm_packet_v4_kind& kind) {
  const std::size_t length = body_length(packet);
  const bool is_within = length <= kind.largest_body && keeps_limits(packet, kind);
  return is_within ? comm_packet_v4_header_size + length : 0;
}

void comm_packet_v4_append(const comm_socket_v4_packet& packet, std::size_t size,
                           std::string& wire) {
  wire.reserve(wire.size() + size);
  append_header(wire, packet, size - comm_packet_v4_header_size);
  append_body(wire, packet);
}

bool comm_packet_v4_encode(const comm_socket_v4_packet& packet, const comm_packet_v4_kind& kind,
                           std::string& wire) {
  wire.clear();
  const std::size_t size = comm_packet_v4_size(packet, kind);
  if (size > 0) { comm_packet_v4_append(packet, size, wire); }
  return size > 0;
}

comm_packet_v4_front comm_packet_v4_look(std::string_view bytes, const comm_packet_v4_kind& kind) {
  constexpr comm_packet_v4_front malformed{comm_packet_v4_state::malformed, 0};
  constexpr comm_packet_v4_front incomplete{comm_packet_v4_state::incomplete, 0};

  const std::size_t magic_seen = std::min(bytes.size(), magic.size());
  if (bytes.substr(0, magic_seen) != magic.substr(0, magic_seen)) { return malformed; }
  if (bytes.size() < body_length_end) { return incomplete; }
  const std::size_t length = little_endian(bytes.substr(magic.size(), 4));
  if (length > kind.largest_body) { return malformed; }
  if (bytes.size() < comm_packet_v4_header_size) { return incomplete; }
  if (little_endian(bytes.substr(comm_packet_v4_header_size - 4, 4)) != 0) { return malformed; }
  const std::size_t size = comm_packet_v4_header_size + length;
  return bytes.size() < size ? incomplete : comm_packet_v4_front{comm_packet_v4_state::whole, size};
}

bool comm_packet_v4_decode(std::string_view bytes, const comm_packet_v4_kind& kind,
                           comm_socket_v4_packet& packet) {
  const comm_packet_v4_front front = comm_packet_v4_look(bytes, kind);
  if (front.state != comm_packet_v4_state::whole || front.size != bytes.size()) { return false; }
  part_reader parts(bytes);
  parts.take(body_length_end);
  packet.request_id = parts.long_number();
  packet.result_code = parts.long_number();
  packet.flags = parts.number();
  parts.take(4);
  for (std::size_t words = parts.count(comm_packet_v4_most_words); words > 0; --words) {
    packet.words.push_back(parts.text());
  }
  for (std::size_t pairs = parts.count(comm_packet_v4_most_pairs); pairs > 0; --pairs) {
    std::string name = parts.text();
    packet.nv_pairs.emplace_back(std::move(name), parts.text());
  }
  packet.data = parts.take(parts.number());
  return parts.is_used_up() && packet.words.size() >= kind.fewest_words;
}
