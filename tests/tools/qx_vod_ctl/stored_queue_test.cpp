// Queue files taken apart, whole and damaged, and put together.
#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/queue_copy/stored_queue.h"

using json11::Json;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

Json job(const std::string& id, const std::string& source = "/mnt/a",
         const std::string& profile = "") {
  return Json::object{{"entry id", id},
                      {"fileops job id", 7},
                      {"input file", source},
                      {"transcode profile", profile},
                      {"transcode state", "ready"}};
}

std::string text_of(const Json::array& jobs) {
  return Json(Json::object{{"list", jobs}}).dump();
}

std::vector<std::string> ids(const std::vector<stored_job>& jobs) {
  std::vector<std::string> found;
  for (const auto& stored : jobs) {
    found.push_back(stored.item.entry_id);
  }
  return found;
}

std::vector<std::string> missing(const Json& stored, const Json& present) {
  item_view item;
  read_item(present, item);
  return ids(missing_jobs(read_stored_queue(text_of({stored})).jobs, {item}));
}

}  // namespace

TEST(ctl_stored_queue, intact_one_has_all_its_jobs) {
  const auto queue = read_stored_queue(text_of({job("a"), job("b")}));
  EXPECT_FALSE(queue.damaged);
  EXPECT_THAT(ids(queue.jobs), ElementsAre("a", "b"));
}

TEST(ctl_stored_queue, jobs_before_a_cut_are_found) {
  const std::string text = text_of({job("a"), job("b", "/mnt/{\"}\\"), job("c")});
  const auto queue = read_stored_queue(text.substr(0, text.find("\"c\"")));
  EXPECT_TRUE(queue.damaged);
  EXPECT_THAT(ids(queue.jobs), ElementsAre("a", "b"));
}

TEST(ctl_stored_queue, damaged_job_does_not_affect_others) {
  std::string text = text_of({job("a"), job("bb"), job("c")});
  text.replace(text.find("\"bb\""), 4, "!!!!");
  EXPECT_THAT(ids(read_stored_queue(text).jobs), ElementsAre("a", "c"));
}

// The last answer of a remote server is an item too.
TEST(ctl_stored_queue, items_within_a_job_are_not_jobs) {
  auto keys = job("near").object_items();
  keys["remote job"] = Json::object{{"json", job("far")}};
  const std::string text = text_of({keys});
  for (std::size_t length = 0; length < text.size() - 2; ++length) {
    EXPECT_THAT(read_stored_queue(text.substr(0, length)).jobs, IsEmpty()) << length;
  }
  EXPECT_THAT(ids(read_stored_queue(text.substr(0, text.size() - 2)).jobs), ElementsAre("near"));
}

TEST(ctl_stored_queue, rubbish_has_no_jobs) {
  for (const char* text :
       {"", "{", "\"list\"", "\"list\": [", "\"list\": [{", "{\"list\": [5, {}, {\"a\": 1}]", "[]",
        "{\"list\": {}}", "\xff\"list\"[}{"}) {
    EXPECT_THAT(read_stored_queue(text).jobs, IsEmpty()) << text;
    EXPECT_TRUE(read_stored_queue(text).damaged) << text;
  }
}

TEST(ctl_stored_queue, job_is_recognised_by_its_id_or_its_source_and_profile) {
  EXPECT_THAT(missing(job("a", "/mnt/a"), job("a", "/mnt/b")), IsEmpty());
  EXPECT_THAT(missing(job("a", "/mnt/a", "720"), job("b", "/mnt/a", "720")), IsEmpty());
  EXPECT_THAT(missing(job("a", "/mnt/a", ""), job("b", "/mnt/a", "720")), IsEmpty());
  EXPECT_THAT(missing(job("a", "/mnt/a", "480"), job("b", "/mnt/a", "720")), ElementsAre("a"));
  EXPECT_THAT(missing(job("a", "/mnt/a", "720"), job("b", "/mnt/b", "720")), ElementsAre("a"));
}

TEST(ctl_stored_queue, job_that_is_stored_twice_is_restored_once) {
  const auto queue = read_stored_queue(text_of({job("a"), job("a"), job("b", "/mnt/b")}));
  EXPECT_THAT(ids(missing_jobs(queue.jobs, {})), ElementsAre("a", "b"));
}

TEST(ctl_stored_queue, restored_jobs_come_last_and_lose_their_numbers) {
  const auto current = read_stored_queue(text_of({job("a")})).jobs;
  const auto more = read_stored_queue(text_of({job("b")})).jobs;
  std::string error;
  const auto list = Json::parse(queue_file_text(current, more), error)["list"];
  EXPECT_EQ(list[0], job("a"));
  EXPECT_EQ(list[1]["entry id"], "b");
  EXPECT_EQ(list[1]["fileops job id"], -1);
}

TEST(ctl_stored_queue, names_that_are_not_utf8_keep_their_bytes) {
  const std::string text =
      R"({"list": [{"entry id": "a", "input file": "/mnt/caf\udce9", "transcode state": "done"}]})";
  const auto queue = read_stored_queue(text);
  ASSERT_EQ(queue.jobs.size(), 1U);
  EXPECT_EQ(queue.jobs[0].item.input_file, "/mnt/caf\xe9");
  EXPECT_NE(queue_file_text(queue.jobs, {}).find(R"(caf\udce9)"), std::string::npos);
}
