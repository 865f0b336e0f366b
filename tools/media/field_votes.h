// Distinguishes interlaced from progressive pictures by their looks. The even lines are the top
// field, the odd lines the bottom field.
#pragma once

#include <cstddef>
#include <string_view>

// Counts how parts of pictures look. Parts without motion have no vote.
struct field_votes {
  long top_first = 0;
  long bottom_first = 0;
  long whole = 0;

  field_votes& operator+=(const field_votes& more);
};

enum class field_order { none, top_first, bottom_first };

// Compares two pictures that follow one another, each of `width` by `height` bytes of grey, line by
// line. Without a vote when they have another size.
field_votes compare_fields(std::string_view first, std::string_view second, std::size_t width,
                           std::size_t height);

// The order that the votes leave no doubt of. Film that was spread over fields has some whole
// pictures, and they do not outvote it.
field_order clear_order(const field_votes& votes);
