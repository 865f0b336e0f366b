// Packets assembled byte by byte, so that each part can be wrong.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qx_test {

constexpr std::uint32_t largest_request = 1048576;  // number of bytes in its body

// Little-endian, four bytes.
std::string u32(std::uint32_t value);
// A length followed by that many bytes.
std::string text(std::string_view bytes);

// A header in which every field can be set.
struct header_bytes {
  std::string magic = "CMS4";
  std::uint32_t body_length = 0;
  std::uint32_t flags = 1;
  std::uint32_t reserved = 0;

  std::string encoded() const;
};

// A packet with this body and a matching header.
std::string packet_with_body(std::string_view body);

// The request "test", complete and valid.
std::string good_request();

// The request "test" with this many bytes of data, or pairs, or words.
std::string request_with_data(std::size_t bytes);
std::string request_with_pairs(std::uint32_t count);
std::string request_with_words(std::uint32_t count);

}  // namespace qx_test
