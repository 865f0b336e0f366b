// Estimates from the queue and from what all clients have seen.
#include <cstdlib>
#include <filesystem>
#include <fstream>

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

// What it had done before, and the time of the interruption, say nothing of its speed.
TEST(outlook, of_a_resumed_job_begins_where_it_was_resumed) {
  outlook client(history_place{});
  client.note({job("a", "transcoding", 1000)}, 100);
  client.note({job("a", "transcoding", 6000)}, 110);
  listed_item resumed = job("a", "transcoding", 5900);
  resumed.item.resumed = job_resumption{63, 200};
  client.note({resumed}, 210);
  EXPECT_EQ(client.time_left({resumed})[0], std::nullopt);
  resumed.item.progress = 6500;
  client.note({resumed}, 220);
  EXPECT_THAT(client.time_left({resumed}), ElementsAre(Optional(DoubleNear(175.0, 1e-6))));
}

TEST(outlook, counts_what_a_resumed_job_had_before_the_service_says_so) {
  const qx_test::test_folder folder;
  std::ofstream(folder.file("history")) << "speed 2 720\n";
  std::ofstream(folder.file("film.mpg"));
  std::filesystem::create_directory(folder.file(".film.mpg.metadata"));
  std::ofstream(folder.file(".film.mpg.metadata/metadata"))
      << "file type=video/mp2t\nduration=1000.000\n";
  outlook client({folder.file("history"), false});
  listed_item resumed = job("a", "transcoding", 0);
  resumed.item.input_file = folder.file("film.mpg");
  const double all = client.time_left({resumed})[0].value_or(-1.0);
  resumed.item.resumed = job_resumption{60, 200};
  EXPECT_THAT(client.time_left({resumed})[0], Optional(DoubleNear(0.4 * all, 1e-6)));
  EXPECT_GT(all, 0.0);
}
