// Reading the queue page by page.
#include <gmock/gmock.h>

#include "tests/tools/client/scripted_service.h"
#include "tools/client/queue_reader.h"

using ::testing::ElementsAre;

namespace {

listed_queue queue_of(int count) {
  listed_queue queue;
  for (int i = 0; i < count; ++i) {
    queue.ids.push_back("id-" + std::to_string(i));
  }
  return queue;
}

struct reading {
  bool complete = false;
  queue_listing listing;
  service_reply failure;
};

reading read(vod_service& service, const queue_range& range = {}) {
  reading result;
  result.complete = read_queue(service, range, result.listing, result.failure);
  return result;
}

}  // namespace

TEST(queue_reader, empty_queue_takes_one_request) {
  const listed_queue queue;
  scripted_service service([&](auto&, auto& pairs) { return queue.answer(pairs); });
  const auto result = read(service);
  EXPECT_TRUE(result.complete);
  EXPECT_TRUE(result.listing.items.empty());
  EXPECT_EQ(result.listing.pages.size(), 1U);
}

TEST(queue_reader, reads_every_page_and_no_more) {
  const auto queue = queue_of(40);
  scripted_service service([&](auto&, auto& pairs) { return queue.answer(pairs); });
  const auto result = read(service);
  EXPECT_EQ(result.listing.items.size(), 40U);
  EXPECT_EQ(result.listing.total, 40U);
  EXPECT_EQ(result.listing.items[39].position, 39U);
  EXPECT_EQ(result.listing.items[39].item.entry_id, "id-39");
  EXPECT_THAT(service.asked(),
              ElementsAre("list start=0 end=15", "list start=16 end=31", "list start=32 end=47"));
}

TEST(queue_reader, full_last_page_is_followed_by_no_request) {
  const auto queue = queue_of(16);
  scripted_service service([&](auto&, auto& pairs) { return queue.answer(pairs); });
  EXPECT_EQ(read(service).listing.items.size(), 16U);
  EXPECT_EQ(service.asked().size(), 1U);
}

TEST(queue_reader, range_is_kept_to) {
  const auto queue = queue_of(40);
  scripted_service service([&](auto&, auto& pairs) { return queue.answer(pairs); });
  const auto result = read(service, {10, 30});
  ASSERT_EQ(result.listing.items.size(), 21U);
  EXPECT_EQ(result.listing.items.front().position, 10U);
  EXPECT_EQ(result.listing.items.back().item.entry_id, "id-30");
}

TEST(queue_reader, range_after_the_end_lists_nothing) {
  const auto queue = queue_of(3);
  scripted_service service([&](auto&, auto& pairs) { return queue.answer(pairs); });
  const auto result = read(service, {10, 12});
  EXPECT_TRUE(result.complete);
  EXPECT_TRUE(result.listing.items.empty());
  EXPECT_EQ(result.listing.total, 3U);
}

TEST(queue_reader, change_between_pages_starts_over) {
  auto queue = queue_of(20);
  int requests = 0;
  scripted_service service([&](auto&, auto& pairs) {
    if (++requests == 2) {
      queue.ids.erase(queue.ids.begin());
      ++queue.modify_counter;
    }
    return queue.answer(pairs);
  });
  const auto result = read(service);
  EXPECT_TRUE(result.complete);
  ASSERT_EQ(result.listing.items.size(), 19U);
  EXPECT_EQ(result.listing.items[15].item.entry_id, "id-16");
}

TEST(queue_reader, gives_up_on_a_queue_that_keeps_changing) {
  auto queue = queue_of(20);
  scripted_service service([&](auto&, auto& pairs) {
    ++queue.modify_counter;
    return queue.answer(pairs);
  });
  const auto result = read(service);
  EXPECT_FALSE(result.complete);
  EXPECT_EQ(result.failure.exit_status, exit_no_service);
}

TEST(queue_reader, failure_is_passed_on) {
  scripted_service service([](auto&, auto&) { return refused(exit_no_service, "gone"); });
  const auto result = read(service);
  EXPECT_FALSE(result.complete);
  EXPECT_EQ(result.failure.text, "gone");
}

TEST(queue_reader, malformed_listing_is_a_failure) {
  for (const char* data : {"", "[]", "{\"list\":7,\"total\":1}", "{\"list\":[]}", "nonsense"}) {
    scripted_service service([&](auto&, auto&) { return accepted(data); });
    const auto result = read(service);
    EXPECT_FALSE(result.complete) << data;
    EXPECT_EQ(result.failure.exit_status, exit_no_service) << data;
  }
}

TEST(queue_reader, absurd_total_does_not_cause_endless_requests) {
  scripted_service service([](auto&, auto&) {
    return accepted("{\"list\":[],\"modify counter\":1,\"total\":4000000000,\"start\":-1e300}");
  });
  EXPECT_TRUE(read(service).complete);
  EXPECT_EQ(service.asked().size(), 1U);
}

TEST(queue_reader, accepts_a_queue_that_keeps_changing_if_told_to) {
  auto queue = queue_of(20);
  scripted_service service([&](auto&, auto& pairs) {
    ++queue.modify_counter;
    return queue.answer(pairs);
  });
  queue_listing listing;
  service_reply failure;
  EXPECT_TRUE(read_queue(service, {}, listing, failure, {3, true}));
  EXPECT_EQ(listing.items.size(), 20U);
  EXPECT_EQ(service.asked().size(), 2U + 2U + 2U);
}

TEST(queue_reader, has_no_item_twice_when_the_queue_changes) {
  auto queue = queue_of(20);
  scripted_service service([&](auto&, auto& pairs) {
    const auto page = queue.answer(pairs);
    ++queue.modify_counter;
    queue.ids.insert(queue.ids.begin(), "new-" + std::to_string(queue.modify_counter));
    return page;
  });
  queue_listing listing;
  service_reply failure;
  ASSERT_TRUE(read_queue(service, {}, listing, failure, {1, true}));
  ASSERT_EQ(listing.items.size(), 20U);
  EXPECT_EQ(listing.items[15].item.entry_id, "id-15");
  EXPECT_EQ(listing.items[16].item.entry_id, "id-16");
}

TEST(queue_reader, reads_no_more_than_it_has_room_for) {
  const auto queue = queue_of(40);
  scripted_service service([&](auto&, auto& pairs) { return queue.answer(pairs); });
  queue_listing listing;
  service_reply failure;
  EXPECT_FALSE(read_queue(service, {}, listing, failure, {3, true, 2000}));
  EXPECT_EQ(failure.delivery, comm_client_result::malformed);
}
