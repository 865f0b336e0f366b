#include "tests/control/hostile_bytes.h"

namespace qx_test {

namespace {

std::string repeated(std::string_view bytes, std::uint32_t count) {
  std::string all;
  for (std::uint32_t i = 0; i < count; ++i) {
    all += bytes;
  }
  return all;
}

}  // namespace

std::string u32(std::uint32_t value) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) {
    bytes += static_cast<char>(value >> (8 * i));
  }
  return bytes;
}

std::string text(std::string_view bytes) {
  return u32(static_cast<std::uint32_t>(bytes.size())).append(bytes);
}

std::string header_bytes::encoded() const {
  const std::string request_id_and_result(16, '\0');
  return magic + u32(body_length) + request_id_and_result + u32(flags) + u32(reserved);
}

std::string packet_with_body(std::string_view body) {
  header_bytes header;
  header.body_length = static_cast<std::uint32_t>(body.size());
  return header.encoded().append(body);
}

std::string good_request() {
  return request_with_data(0);
}

std::string request_with_data(std::size_t bytes) {
  return packet_with_body(u32(1) + text("test") + u32(0) + text(std::string(bytes, 'd')));
}

std::string request_with_pairs(std::uint32_t count) {
  const std::string pairs = repeated(text("n") + text("v"), count);
  return packet_with_body(u32(1) + text("test") + u32(count) + pairs + u32(0));
}

std::string request_with_words(std::uint32_t count) {
  return packet_with_body(u32(count) + repeated(text("test"), count) + u32(0) + u32(0));
}

}  // namespace qx_test
