// Distinguishes interlaced from progressive pictures by their looks.
//
// A field is woven with its counterpart of the same picture and of the next one. The closer the two
// are in time, the less the result is combed. In a progressive picture, its own fields match best
// by far. In an interlaced one, a field matches its own counterpart as well as the one of the
// neighbouring picture that is as close in time, and the third is three times as far away.
#include "tools/media/field_votes.h"

#include <algorithm>
#include <cstdlib>

namespace {

// A part is a square of that many points.
constexpr std::size_t part_side = 16;

// Noise of the encoder and of the camera, as sums over a part: below it nothing is worth a vote.
constexpr long noise = 4 * part_side * part_side;

// Fewer votes than that come from a cursor or a few drops of rain.
constexpr long fewest_votes = 60;

// Parts of whole pictures look like fields by chance, one in a hundred as a rule, and then about as
// often in one order as in the other. True fields have one order for the most part.
constexpr long certainty = 3;
constexpr long least_share = 5;  // one in so many

struct picture_pair {
  const unsigned char* first;
  const unsigned char* second;
  std::size_t width;
};

// How combed a part is: with its own fields, with the next picture's top field and its own bottom
// field, and with its own top field and the next picture's bottom field.
struct combing {
  long own = noise;
  long next_top = noise;
  long next_bottom = noise;
};

long bend(int above, int here, int below) {
  return std::abs(2 * here - above - below);
}

// Lines of `field` between those of `around`, at one point.
long woven(const unsigned char* field, const unsigned char* around, std::size_t at,
           std::size_t width) {
  return bend(around[at - width], field[at], around[at + width]);
}

combing measure(const picture_pair& pair, std::size_t left, std::size_t top) {
  combing sums;
  for (std::size_t y = top; y < top + part_side; ++y) {
    const bool in_top_field = y % 2 == 0;
    for (std::size_t x = left; x < left + part_side; ++x) {
      const std::size_t at = y * pair.width + x;
      const long later = woven(pair.second, pair.first, at, pair.width);
      const long earlier = woven(pair.first, pair.second, at, pair.width);
      sums.own += woven(pair.first, pair.first, at, pair.width);
      sums.next_top += in_top_field ? later : earlier;
      sums.next_bottom += in_top_field ? earlier : later;
    }
  }
  return sums;
}

void vote(const combing& part, field_votes& votes) {
  const long least = std::min(part.next_top, part.next_bottom);
  const long most = std::max(part.next_top, part.next_bottom);
  if (least * 4 > part.own * 5) {
    ++votes.whole;
  } else if (most * 2 > least * 3 && most * 4 > part.own * 5) {
    ++(part.next_top < part.next_bottom ? votes.top_first : votes.bottom_first);
  }
}

const unsigned char* bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

field_votes& field_votes::operator+=(const field_votes& more) {
  top_first += more.top_first;
  bottom_first += more.bottom_first;
  whole += more.whole;
  return *this;
}

field_votes compare_fields(std::string_view first, std::string_view second, std::size_t width,
                           std::size_t height) {
  field_votes votes;
  if (first.size() != width * height || second.size() != first.size()) { return votes; }
  const picture_pair pair = {bytes(first), bytes(second), width};
  for (std::size_t top = part_side; top + part_side < height; top += part_side) {
    for (std::size_t left = 0; left + part_side <= width; left += part_side) {
      vote(measure(pair, left, top), votes);
    }
  }
  return votes;
}

field_order clear_order(const field_votes& votes) {
  const long most = std::max(votes.top_first, votes.bottom_first);
  const long least = std::min(votes.top_first, votes.bottom_first);
  const bool clear =
      most >= fewest_votes && most > certainty * least && least_share * most > votes.whole;
  if (!clear) { return field_order::none; }
  return votes.top_first > votes.bottom_first ? field_order::top_first : field_order::bottom_first;
}
