// The requests that watch sends to the service.
#include <gmock/gmock.h>

#include "tests/tools/client/scripted_service.h"
#include "tools/qx_vod_ctl/watch/queue_model.h"

using ::testing::ElementsAre;
using ::testing::SizeIs;

namespace {

constexpr std::uint64_t second_us = 1'000'000;

listed_queue queue_of(int count) {
  listed_queue queue;
  for (int i = 0; i < count; ++i) {
    queue.ids.push_back("id-" + std::to_string(i));
  }
  return queue;
}

struct watched {
  explicit watched(int count) : queue(queue_of(count)) {}
  std::size_t requests_of(std::size_t first, std::size_t rows, std::uint64_t now_us) {
    const std::size_t before = service.asked().size();
    service_reply failure;
    EXPECT_TRUE(model.refresh(service, first, rows, now_us, failure));
    return service.asked().size() - before;
  }

  listed_queue queue;
  scripted_service service{[this](auto&, auto& pairs) { return queue.answer(pairs); }};
  queue_model model;
};

}  // namespace

TEST(queue_model, whole_queue_is_read_at_first) {
  watched queue(512);
  EXPECT_EQ(queue.requests_of(0, 20, second_us), 32U);
  ASSERT_THAT(queue.model.items(), SizeIs(512));
  EXPECT_EQ(queue.model.items()[511].item.entry_id, "id-511");
}

TEST(queue_model, then_only_rows_on_the_screen) {
  watched queue(512);
  queue.requests_of(0, 20, second_us);
  EXPECT_EQ(queue.requests_of(0, 20, second_us + 1), 2U);
  EXPECT_EQ(queue.requests_of(100, 4, second_us + 2), 1U);
  EXPECT_EQ(queue.service.asked().back(), "list start=96 end=111");
}

TEST(queue_model, one_more_page_a_second) {
  watched queue(512);
  queue.requests_of(0, 16, second_us);
  EXPECT_EQ(queue.requests_of(0, 16, 2 * second_us + 1), 2U);
  EXPECT_EQ(queue.requests_of(0, 16, 2 * second_us + 2), 1U);
}

TEST(queue_model, added_and_removed_jobs_are_read_a_few_pages_at_a_time) {
  watched queue(512);
  queue.requests_of(0, 16, second_us);
  queue.queue.ids.pop_back();
  ++queue.queue.modify_counter;
  EXPECT_EQ(queue.requests_of(0, 16, second_us + 1), 5U);
  EXPECT_THAT(queue.model.items(), SizeIs(511));
}

TEST(queue_model, empty_queue_is_one_request) {
  watched queue(0);
  EXPECT_EQ(queue.requests_of(0, 20, second_us), 1U);
  EXPECT_EQ(queue.requests_of(0, 20, 9 * second_us), 1U);
}

TEST(queue_model, missing_service_leaves_the_known_rows) {
  bool away = false;
  const auto queue = queue_of(3);
  scripted_service service([&](auto&, auto& pairs) {
    return away ? refused(exit_no_service, "away") : queue.answer(pairs);
  });
  queue_model model;
  service_reply failure;
  ASSERT_TRUE(model.refresh(service, 0, 20, second_us, failure));
  away = true;
  EXPECT_FALSE(model.refresh(service, 0, 20, 2 * second_us, failure));
  EXPECT_EQ(failure.text, "away");
  EXPECT_THAT(model.items(), SizeIs(3));
}

TEST(queue_model, hostile_listing_neither_exhausts_nor_crashes_it) {
  const std::vector<std::string> listings = {"", "[]", "{\"list\":[],\"total\":1e300}",
                                             "{\"list\":[1,{}],\"total\":-5}"};
  for (const auto& data : listings) {
    scripted_service service([&](auto&, auto&) { return accepted(data); });
    queue_model model;
    service_reply failure;
    model.refresh(service, 0, 20, second_us, failure);
    EXPECT_LE(model.items().size(), 512U) << data;
  }
}
