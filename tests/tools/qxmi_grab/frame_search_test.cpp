// Which of several frames is taken.
#include <gtest/gtest.h>

#include "tools/qxmi_grab/frame_search.h"

namespace {

constexpr frame_measure black = {2.0, 1.0, 0.5};
constexpr frame_measure flat = {120.0, 2.0, 0.5};
constexpr frame_measure blurred = {120.0, 40.0, 20.0};
constexpr frame_measure sharp = {120.0, 40.0, 200.0};
constexpr frame_measure sharper = {120.0, 40.0, 300.0};

// The moment of each is its place among them; -1 when none is taken.
int taken(const std::vector<frame_measure>& measures) {
  std::vector<candidate> candidates;
  for (const frame_measure& measure : measures) {
    candidates.push_back({static_cast<double>(candidates.size()), measure});
  }
  const candidate* best = best_candidate(candidates);
  return best == nullptr ? -1 : static_cast<int>(best->moment);
}

}  // namespace

TEST(best_candidate, is_not_black) {
  EXPECT_EQ(taken({black, black, sharp, black}), 2);
}

TEST(best_candidate, is_not_flat) {
  EXPECT_EQ(taken({flat, sharp}), 1);
}

TEST(best_candidate, is_not_blurred) {
  EXPECT_EQ(taken({blurred, blurred, sharp}), 2);
}

TEST(best_candidate, is_the_first_of_those_that_are_sharp_enough) {
  EXPECT_EQ(taken({blurred, sharp, sharper}), 1);
  EXPECT_EQ(taken({blurred, sharper, sharp}), 1);
}

TEST(best_candidate, is_rather_flat_than_black) {
  EXPECT_EQ(taken({black, flat, black}), 1);
}

TEST(best_candidate, is_the_brightest_where_all_are_black) {
  EXPECT_EQ(taken({black, {9.0, 0.0, 0.0}, black}), 1);
}

TEST(best_candidate, is_none_of_none) {
  EXPECT_EQ(taken({}), -1);
}
