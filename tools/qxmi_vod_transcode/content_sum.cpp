#include "tools/qxmi_vod_transcode/content_sum.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

constexpr std::size_t word_size = sizeof(std::uint64_t);
constexpr std::size_t digits = 16;

std::uint64_t sum_of(std::string_view text) {
  content_sum sum;
  sum.add(text);
  return sum.value();
}

}  // namespace

void content_sum::mix(std::uint64_t word) {
  state_ = (state_ ^ word) * 0x9e3779b97f4a7c15U;
  state_ ^= state_ >> 32;
}

void content_sum::add(std::string_view bytes) {
  for (; !bytes.empty() && bytes_ % word_size != 0; bytes.remove_prefix(1), ++bytes_) {
    pending_ |= std::uint64_t{static_cast<unsigned char>(bytes[0])} << (8 * (bytes_ % word_size));
    if (bytes_ % word_size == word_size - 1) { mix(std::exchange(pending_, 0)); }
  }
  for (; bytes.size() >= word_size; bytes.remove_prefix(word_size), bytes_ += word_size) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data(), word_size);
    mix(word);
  }
  for (; !bytes.empty(); bytes.remove_prefix(1), ++bytes_) {
    pending_ |= std::uint64_t{static_cast<unsigned char>(bytes[0])} << (8 * (bytes_ % word_size));
  }
}

std::uint64_t content_sum::value() const {
  content_sum end = *this;
  end.mix(pending_);
  end.mix(bytes_);
  return end.state_;
}

std::string hexadecimal(std::uint64_t value) {
  char text[digits + 1];
  std::snprintf(text, sizeof text, "%016" PRIx64, value);
  return text;
}

std::string sealed(const std::string& text) {
  return hexadecimal(sum_of(text)) + " " + text + "\n";
}

std::string unsealed(const std::string& line) {
  if (line.size() < digits + 2 || line.back() != '\n') { return {}; }
  std::string text = line.substr(digits + 1, line.size() - digits - 2);
  return sealed(text) == line ? text : std::string();
}
