// Estimates from the queue and from what all clients have seen.
#include <cstdlib>
#include <filesystem>

#include <gmock/gmock.h>

#include "tests/platform/test_folder.h"
#include "tools/client/outlook.h"

using testing::DoubleNear;
using testing::ElementsAre;
using testing::Optional;

namespace {

listed_item job(const std::string& id, const std::string& state, int progress) {
  listed_item listed;
  listed.item.entry_id = id;
  listed.item.state = state;
  listed.item.profile = "720";
  listed.item.progress = progress;
  return listed;
}

}  // namespace

TEST(outlook, of_two_clients_with_a_shared_history_is_the_same) {
  const qx_test::test_folder folder;
  const history_place place = {folder.file("history"), true};
  outlook first(place);
  outlook second(place);
  first.note({job("a", "transcoding", 1000)}, 100);
  second.note({job("a", "transcoding", 2000)}, 110);
  first.note({job("a", "transcoding", 2000)}, 110);
  const auto left = ElementsAre(Optional(DoubleNear(80.0, 1e-6)));
  EXPECT_THAT(second.time_left({job("a", "transcoding", 2000)}), left);
  EXPECT_THAT(first.time_left({job("a", "transcoding", 2000)}), left);
  EXPECT_THAT(outlook(place).time_left({job("a", "transcoding", 2000)}), left);
}

TEST(outlook, of_a_client_alone_is_written_when_it_is_saved) {
  const qx_test::test_folder folder;
  outlook alone({folder.file("history"), false});
  alone.note({job("a", "transcoding", 1000)}, 100);
  EXPECT_FALSE(std::filesystem::exists(folder.file("history")));
  alone.save();
  EXPECT_TRUE(std::filesystem::exists(folder.file("history")));
}
