// How interlaced pictures are distinguished from progressive ones.
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "tools/media/field_votes.h"

namespace {

constexpr std::size_t width = 64;
constexpr std::size_t height = 96;

// The brightness of a point of the scene at a time, counted in fields.
using scene = std::function<int(int x, int y, int moment)>;

std::string picture(const scene& shown, int top_moment, int bottom_moment) {
  std::string grey(width * height, '\0');
  for (std::size_t at = 0; at < grey.size(); ++at) {
    const int y = static_cast<int>(at / width);
    const int moment = y % 2 == 0 ? top_moment : bottom_moment;
    grey[at] = static_cast<char>(shown(static_cast<int>(at % width), y, moment));
  }
  return grey;
}

// Twenty pictures whose fields are that many moments later than the picture.
field_votes votes_for(const scene& shown, int top_delay, int bottom_delay) {
  field_votes votes;
  std::string before;
  for (int moment = 0; moment < 40; moment += 2) {
    const std::string now = picture(shown, moment + top_delay, moment + bottom_delay);
    votes += compare_fields(before, now, width, height);
    before = now;
  }
  return votes;
}

int moving_bars(int x, int, int moment) {
  return (x + 3 * moment) % 40 < 12 ? 220 : 40;
}

// The same for each field of a point, and for each picture another.
int grain(int x, int y, int moment) {
  const unsigned mixed = unsigned(x * 7919 + y * 104729 + moment * 1299709) * 2654435761U;
  return static_cast<int>(mixed >> 24);
}

int rising_stripes(int, int y, int moment) {
  return (y + moment / 2) % 4 < 2 ? 200 : 50;
}

int rising_text(int x, int y, int moment) {
  return grain(x / 3, (y + 3 * moment / 2) / 5, 0);
}

}  // namespace

TEST(field_votes, find_fields_in_either_order) {
  EXPECT_EQ(clear_order(votes_for(moving_bars, 0, 1)), field_order::top_first);
  EXPECT_EQ(clear_order(votes_for(moving_bars, 1, 0)), field_order::bottom_first);
}

TEST(field_votes, find_no_fields_in_whole_pictures) {
  for (const scene& shown : {scene(moving_bars), scene(rising_stripes), scene(rising_text)}) {
    EXPECT_EQ(clear_order(votes_for(shown, 0, 0)), field_order::none);
  }
  EXPECT_GT(votes_for(moving_bars, 0, 0).whole, 100);
}

TEST(field_votes, find_no_fields_in_grain) {
  EXPECT_EQ(clear_order(votes_for(grain, 0, 0)), field_order::none);
  EXPECT_EQ(clear_order(votes_for(grain, 0, 1)), field_order::none);
}

TEST(field_votes, are_not_given_without_motion) {
  const field_votes votes = votes_for([](int x, int y, int) { return grain(x, y, 0); }, 0, 1);
  EXPECT_EQ(votes.whole + votes.top_first + votes.bottom_first, 0);
}

TEST(field_votes, are_not_given_by_pictures_of_another_size) {
  const std::string whole = picture(moving_bars, 0, 1);
  const std::string cut = whole.substr(width);
  const field_votes votes = compare_fields(whole, cut, width, height);
  EXPECT_EQ(votes.whole + votes.top_first + votes.bottom_first, 0);
}

TEST(field_votes, of_film_spread_over_fields_are_clear) {
  field_votes votes;
  votes.whole = 1000;
  votes.bottom_first = 300;
  votes.top_first = 2;
  EXPECT_EQ(clear_order(votes), field_order::bottom_first);
}

TEST(field_votes, that_arise_by_chance_are_not_clear) {
  field_votes votes;
  votes.top_first = 130;
  votes.bottom_first = 120;
  EXPECT_EQ(clear_order(votes), field_order::none) << "both orders";
  votes.bottom_first = 0;
  votes.whole = 5000;
  EXPECT_EQ(clear_order(votes), field_order::none) << "whole pictures for the most part";
  votes.whole = 0;
  votes.top_first = 20;
  EXPECT_EQ(clear_order(votes), field_order::none) << "a cursor";
}
