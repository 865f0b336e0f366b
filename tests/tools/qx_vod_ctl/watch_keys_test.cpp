// The keys that watch knows.
#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/watch/keys.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(read_keys, arrows_of_both_modes_and_letters) {
  EXPECT_THAT(read_keys("\x1b[A\x1bOBpxR"),
              ElementsAre(key::up, key::down, key::pause, key::remove, key::restart));
}

TEST(read_keys, several_pieces_in_one) {
  EXPECT_THAT(read_keys("\x1b[5~\x1b[6~\x1b[H\x1b[F"),
              ElementsAre(key::page_up, key::page_down, key::first, key::last));
}

TEST(read_keys, unknown_sequences_hide_no_letters) {
  EXPECT_THAT(read_keys("\x1b[15~q"), ElementsAre(key::other, key::quit));
  EXPECT_THAT(read_keys("\x1b"), ElementsAre(key::other));
  EXPECT_THAT(read_keys("\x1b["), ElementsAre(key::other));
  EXPECT_THAT(read_keys("\xc3\xa4q"), ElementsAre(key::other, key::other, key::quit));
  EXPECT_THAT(read_keys(""), IsEmpty());
}
