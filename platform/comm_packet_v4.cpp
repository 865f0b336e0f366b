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
constexpr std::size_t reserved_field = 28;

std::uint32_t number_at(const char* bytes) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes, sizeof value);
  return le32toh(value);
}

std::uint64_t long_number_at(const char* bytes) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes, sizeof value);
  return le64toh(value);
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
  std::uint32_t number() {
    const std::string_view bytes = take(sizeof(std::uint32_t));
    return broken_ ? 0 : number_at(bytes.data());
  }
  std::uint64_t long_number() {
    const std::string_view bytes = take(sizeof(std::uint64_t));
    return broken_ ? 0 : long_number_at(bytes.data());
  }

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

// Writes parts one after another to memory that has room for all of them.
class part_writer {
public:
  explicit part_writer(char* place) : place_(place) {}

  void bytes(std::string_view bytes) {
    std::memcpy(place_, bytes.data(), bytes.size());
    place_ += bytes.size();
  }
  void number(std::size_t value) {
    const std::uint32_t number = htole32(static_cast<std::uint32_t>(value));
    bytes({reinterpret_cast<const char*>(&number), sizeof number});
  }
  void long_number(std::uint64_t value) {
    const std::uint64_t number = htole64(value);
    bytes({reinterpret_cast<const char*>(&number), sizeof number});
  }
  void text(const std::string& text) {
    number(text.size());
    bytes(text);
  }

private:
  char* place_;
};

// Everything but the data, which comes last.
void write_parts(part_writer wire, const comm_socket_v4_packet& packet, std::size_t length) {
  wire.bytes(magic);
  wire.number(length);
  wire.long_number(packet.request_id);
  wire.long_number(packet.result_code);
  wire.number(packet.flags);
  wire.number(0);
  wire.number(packet.words.size());
  for (const std::string& word : packet.words) {
    wire.text(word);
  }
  wire.number(packet.nv_pairs.size());
  for (const auto& [name, value] : packet.nv_pairs) {
    wire.text(name);
    wire.text(value);
  }
  wire.number(packet.data.size());
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
  const std::size_t begin = wire.size();
  wire.reserve(begin + size);
  wire.resize(begin + size - packet.data.size());
  write_parts(part_writer(&wire[begin]), packet, size - comm_packet_v4_header_size);
  wire += packet.data;
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
  const std::size_t length = number_at(bytes.data() + magic.size());
  if (length > kind.largest_body) { return malformed; }
  if (bytes.size() < comm_packet_v4_header_size) { return incomplete; }
  if (number_at(bytes.data() + reserved_field) != 0) { return malformed; }
  const std::size_t size = comm_packet_v4_header_size + length;
  return bytes.size() < size ? incomplete : comm_packet_v4_front{comm_packet_v4_state::whole, size};
}

bool comm_packet_v4_decode(std::string_view bytes, const comm_packet_v4_kind& kind,
                           comm_socket_v4_packet& packet) {
  const comm_packet_v4_front front = comm_packet_v4_look(bytes, kind);
  return front.state == comm_packet_v4_state::whole && front.size == bytes.size() &&
         comm_packet_v4_read(bytes, kind, packet);
}

bool comm_packet_v4_read(std::string_view bytes, const comm_packet_v4_kind& kind,
                         comm_socket_v4_packet& packet) {
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
