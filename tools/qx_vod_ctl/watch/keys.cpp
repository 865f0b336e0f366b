#include "tools/qx_vod_ctl/watch/keys.h"

namespace {

struct key_bytes {
  std::string_view bytes;
  key meaning;
};

constexpr key_bytes known_keys[] = {
    {"\x1b[A", key::up},
    {"\x1bOA", key::up},
    {"k", key::up},
    {"\x1b[B", key::down},
    {"\x1bOB", key::down},
    {"j", key::down},
    {"\x1b[5~", key::page_up},
    {"\x1b[6~", key::page_down},
    {" ", key::page_down},
    {"\x1b[H", key::first},
    {"\x1bOH", key::first},
    {"\x1b[1~", key::first},
    {"\x1b[F", key::last},
    {"\x1bOF", key::last},
    {"\x1b[4~", key::last},
    {"g", key::first},
    {"G", key::last},
    {"p", key::pause},
    {"r", key::resume},
    {"c", key::cancel},
    {"R", key::restart},
    {"x", key::remove},
    {"y", key::yes},
    {"q", key::quit},
};

// The length of the escape sequence in front: up to its final letter or tilde.
std::size_t sequence_length(std::string_view bytes) {
  if (bytes.size() < 2 || (bytes[1] != '[' && bytes[1] != 'O')) { return 1; }
  std::size_t length = 2;
  while (length < bytes.size() && (bytes[length] < '@' || bytes[length] > '~')) {
    ++length;
  }
  return length < bytes.size() ? length + 1 : length;
}

key meaning_of(std::string_view bytes) {
  for (const auto& known : known_keys) {
    if (known.bytes == bytes) { return known.meaning; }
  }
  return key::other;
}

}  // namespace

std::vector<key> read_keys(std::string_view bytes) {
  std::vector<key> keys;
  while (!bytes.empty()) {
    const std::size_t length = bytes[0] == '\x1b' ? sequence_length(bytes) : 1;
    keys.push_back(meaning_of(bytes.substr(0, length)));
    bytes.remove_prefix(length);
  }
  return keys;
}
