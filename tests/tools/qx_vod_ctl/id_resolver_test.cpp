// From a few characters to an item.
#include <gmock/gmock.h>

#include "tests/tools/client/scripted_service.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/id_resolver.h"

using ::testing::ElementsAre;

namespace {

scripted_service service_with(const std::vector<std::string>& ids) {
  listed_queue queue;
  queue.ids = ids;
  return scripted_service([queue](auto&, auto& pairs) { return queue.answer(pairs); });
}

}  // namespace

TEST(id_resolver, whole_id_takes_one_request) {
  auto service = service_with({"abc", "abd"});
  EXPECT_EQ(resolve_id(service, "abd").entry_id, "abd");
  EXPECT_THAT(service.asked(), ElementsAre("list entry id=abd"));
}

TEST(id_resolver, unique_prefix_is_enough) {
  auto service = service_with({"abc", "abd", "b"});
  const auto id = resolve_id(service, "abd");
  EXPECT_EQ(id.exit_status, 0);
  EXPECT_EQ(id.entry_id, "abd");
}

TEST(id_resolver, finds_an_item_of_the_last_page) {
  std::vector<std::string> ids(40, "aaaa");
  ids.push_back("bbbb");
  auto service = service_with(ids);
  EXPECT_EQ(resolve_id(service, "bb").entry_id, "bbbb");
}

TEST(id_resolver, complete_id_takes_precedence_over_a_longer_one) {
  auto service = service_with({"abcd", "abc"});
  EXPECT_EQ(resolve_id(service, "abc").entry_id, "abc");
}

TEST(id_resolver, ambiguous_prefix_lists_the_candidates) {
  auto service = service_with({"abc", "x", "abd"});
  const auto id = resolve_id(service, "ab");
  EXPECT_EQ(id.exit_status, exit_usage);
  EXPECT_EQ(id.entry_id, "");
  ASSERT_EQ(id.candidates.size(), 2U);
  EXPECT_EQ(id.candidates[1].entry_id, "abd");
  EXPECT_EQ(id.candidates[1].input_file, "/mnt/media/2.mpg");
}

TEST(id_resolver, middle_of_an_id_matches_nothing) {
  auto service = service_with({"abc"});
  EXPECT_EQ(resolve_id(service, "bc").exit_status, exit_no_such_item);
}

TEST(id_resolver, empty_id_is_a_wrong_command_line_even_with_one_item) {
  auto service = service_with({"abc"});
  EXPECT_EQ(resolve_id(service, "").exit_status, exit_usage);
  EXPECT_TRUE(service.asked().empty());
}

TEST(id_resolver, job_number_is_sent_as_a_job_number) {
  scripted_service service([](auto&, auto&) { return accepted(item_json("abc", "ready")); });
  EXPECT_EQ(resolve_id(service, "job:31").entry_id, "abc");
  EXPECT_THAT(service.asked(), ElementsAre("list fileops job id=31"));
}

TEST(id_resolver, job_number_is_decimal_and_nothing_else) {
  auto service = service_with({});
  for (const char* given : {"job:", "job:0x1F", "job:010", "job:-1", "job: 1", "job:12345678901"}) {
    EXPECT_EQ(resolve_id(service, given).exit_status, exit_usage) << given;
  }
  EXPECT_TRUE(service.asked().empty());
}

TEST(id_resolver, missing_service_is_not_a_missing_item) {
  scripted_service service([](auto&, auto&) { return refused(exit_no_service, "no service"); });
  EXPECT_EQ(resolve_id(service, "ab").exit_status, exit_no_service);
  EXPECT_EQ(resolve_id(service, "job:1").exit_status, exit_no_service);
  EXPECT_EQ(service.asked().size(), 2U);
}
