// A sum of 64 bits over bytes, to notice damage on a disk; no protection against intent.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

class content_sum {
public:
  void add(std::string_view bytes);

  // Of all that was added, however it was divided.
  std::uint64_t value() const;

private:
  void mix(std::uint64_t word);

  std::uint64_t state_ = 0xcbf29ce484222325U;
  std::uint64_t bytes_ = 0;
  std::uint64_t pending_ = 0;  // bytes that do not make up a word yet
};

// 16 hexadecimal digits.
std::string hexadecimal(std::uint64_t value);

// A line of text that carries its own sum, and the text again; nothing if they do not agree.
std::string sealed(const std::string& text);
std::string unsealed(const std::string& line);
