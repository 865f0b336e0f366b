// The keys that watch knows, from the bytes that a terminal sends.
#pragma once

#include <string_view>
#include <vector>

enum class key {
  up,
  down,
  page_up,
  page_down,
  first,
  last,
  pause,
  resume,
  cancel,
  restart,
  remove,
  yes,
  other,  // anything else; it answers a question with no
  quit
};

// The keys in `bytes`, which hold whole keys: a terminal sends each in one piece.
std::vector<key> read_keys(std::string_view bytes);
