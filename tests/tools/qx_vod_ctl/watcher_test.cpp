// How watch reacts to keys, and to a changing queue.
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>

#include "tests/platform/test_folder.h"
#include "tests/tools/client/scripted_service.h"
#include "tools/job_log/log_time.h"
#include "tools/qx_vod_ctl/watch/watcher.h"

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

// The cases of this program must not read or write the history of the user's own client.
class no_cache : public ::testing::Environment {
public:
  void SetUp() override {
    unsetenv("XDG_CACHE_HOME");
    unsetenv("HOME");
  }
};

const ::testing::Environment* const environment = ::testing::AddGlobalTestEnvironment(new no_cache);

constexpr screen_size screen = {10, 80};

struct watching : ::testing::Test {
  watching() {
    for (int i = 0; i < 40; ++i) {
      queue.ids.push_back("id-" + std::to_string(100 + i));
    }
    look();
  }
  void look() { tool.refresh(screen, now_us += 500'000, 1700000000); }
  void press(std::initializer_list<key> keys) {
    for (const key pressed : keys) {
      tool.press(pressed, screen);
    }
  }
  std::string selected() const {
    return tool.view().rows[tool.view().selected].listed.item.entry_id;
  }

  listed_queue queue;
  service_reply answer = accepted("");
  std::uint64_t now_us = 1'000'000;
  scripted_service service{[this](const std::string& command, const name_values& pairs) {
    return command == "list" ? queue.answer(pairs) : answer;
  }};
  watcher tool{service};
};

// The answer to "list" of a queue with this job alone.
service_reply page_of(const json11::Json& item) {
  const json11::Json page = json11::Json::object{
      {"list", json11::Json::array{item}}, {"total", 1}, {"modify counter", 1}};
  return accepted(page.dump());
}

}  // namespace

TEST_F(watching, harmless_keys_act_at_once) {
  press({key::down, key::pause, key::up, key::resume, key::restart});
  EXPECT_THAT(service.asked(), Contains("pause entry id=id-101"));
  EXPECT_THAT(service.asked(), Contains("resume entry id=id-100"));
  EXPECT_THAT(service.asked(), Contains("restart entry id=id-100"));
}

TEST_F(watching, cancel_and_remove_ask_first) {
  press({key::cancel});
  EXPECT_THAT(tool.view().notice, StartsWith("Cancel 0.mpg (id-100)?"));
  press({key::other, key::remove, key::pause});
  EXPECT_THAT(service.asked(), Not(Contains(StartsWith("cancel"))));
  EXPECT_THAT(service.asked(), Not(Contains(StartsWith("remove"))));
  EXPECT_THAT(service.asked(), Not(Contains(StartsWith("pause"))));
  press({key::remove, key::yes});
  EXPECT_THAT(service.asked(), Contains("remove entry id=id-100"));
}

TEST_F(watching, yes_means_the_item_of_the_question) {
  press({key::down, key::remove});
  queue.ids.erase(queue.ids.begin() + 1);
  ++queue.modify_counter;
  look();
  press({key::yes});
  EXPECT_EQ(service.asked().back(), "remove entry id=id-101");
}

TEST_F(watching, selection_stays_with_its_item) {
  press({key::page_down, key::down});
  EXPECT_EQ(selected(), "id-107");
  queue.ids.erase(queue.ids.begin(), queue.ids.begin() + 3);
  ++queue.modify_counter;
  look();
  EXPECT_EQ(selected(), "id-107");
  EXPECT_EQ(tool.view().selected, 4U);
}

TEST_F(watching, selection_ends_at_both_ends) {
  press({key::last, key::down, key::page_down});
  EXPECT_EQ(selected(), "id-139");
  EXPECT_EQ(tool.view().top, 34U);
  press({key::first, key::up, key::page_up});
  EXPECT_EQ(selected(), "id-100");
}

TEST_F(watching, refusal_is_shown_with_its_advice) {
  answer = refused(exit_refused, "ITEM IS BUSY");
  answer.advice = "cancel it first";
  press({key::remove, key::yes});
  EXPECT_EQ(tool.view().notice, "remove: ITEM IS BUSY; cancel it first");
}

TEST_F(watching, emptied_queue_leaves_nothing_to_act_on) {
  press({key::last});
  queue.ids.clear();
  ++queue.modify_counter;
  look();
  const auto asked = service.asked().size();
  press({key::pause, key::cancel, key::yes, key::down, key::last});
  EXPECT_EQ(service.asked().size(), asked);
}

TEST(watcher, missing_service_is_shown_until_it_answers) {
  bool away = false;
  const listed_queue queue{{"aaaa"}, 1};
  scripted_service service([&](auto&, auto& pairs) {
    return away ? refused(exit_no_service, "no service") : queue.answer(pairs);
  });
  watcher tool(service);
  tool.refresh(screen, 1'000'000, 0);
  away = true;
  tool.refresh(screen, 2'000'000, 0);
  EXPECT_EQ(tool.view().absence, "no service");
  EXPECT_EQ(tool.view().rows.size(), 1U);
  away = false;
  tool.refresh(screen, 3'000'000, 0);
  EXPECT_EQ(tool.view().absence, "");
}

TEST(watching_a_failed_job, shows_the_reason_from_its_log) {
  char folder[] = "/tmp/qx-watch-XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string metadata = std::string(folder) + "/.out.mp4.metadata";
  std::filesystem::create_directory(metadata);
  std::ofstream(metadata + "/vod.log") << "--- t qxmi_vod_transcode failed: disk-full: no room\n";
  const json11::Json item = json11::Json::object{{"entry id", "a"},
                                                 {"transcode state", "cancelled"},
                                                 {"state", "Transcoding failed"},
                                                 {"output file", folder + std::string("/out.mp4")}};
  scripted_service service([&](const std::string&, const name_values&) { return page_of(item); });
  watcher tool(service);
  tool.refresh(screen, 500'000, 1700000000);
  EXPECT_EQ(tool.view().rows[0].listed.item.whole_text(), "Transcoding failed: disk-full: no room");
  std::filesystem::remove_all(folder);
}

TEST(watching_a_job_in_a_cluster, shows_where_it_runs) {
  const qx_test::test_folder folder;
  std::filesystem::create_directory(folder.file(".out.mp4.metadata"));
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  std::ofstream(folder.file(".out.mp4.metadata/vod.log"))
      << "=== " << log_time(now) << " qxmi_vod_transcode 0.1.0\n"
      << log_time(now) << " cluster: 41 of 96 segments, 9 under way on n1\n";
  const json11::Json item = json11::Json::object{{"entry id", "a"},
                                                 {"transcode state", "transcoding"},
                                                 {"state", "Transcoding file..."},
                                                 {"output file", folder.file("out.mp4")}};
  scripted_service service([&](const std::string&, const name_values&) { return page_of(item); });
  watcher tool(service);
  tool.refresh(screen, 500'000, 1700000000);
  EXPECT_EQ(tool.view().rows[0].listed.item.whole_text(),
            "Transcoding file... (41 of 96 segments, 9 under way on n1)");
}
