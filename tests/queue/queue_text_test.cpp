// Limits the length of the queue file's text.
#include <gmock/gmock.h>

#include "queue/queue_text.h"
#include "queue/queue_text_size.h"
#include "queue/transcode_queue.h"
#include "rules/limits.h"
#include "tests/queue/queue_bench.h"

using namespace qx_test;
using json11::Json;

namespace {

constexpr std::size_t mib = std::size_t{1} << 20U;

QueueItem& add_item(transcode_states state) {
  auto* const item = new QueueItem;
  item->sm.set_state(state);
  transcode_queue.push_back(item);
  return *item;
}

Json document_of_queue() {
  std::string error;
  return Json::parse(queue_text(), error);
}

class queue_text_size : public queue_bench {};
class queue_text_left_out : public queue_bench {
protected:
  queue_text_left_out() : item(add_item(TRANSCODE_READY)) {
    item.sm.ready.set_state(READY_READY_TO_TRANSCODE);
    item.transcode_profile = "720";
    item.quoted_profile = {"720"};
    item.state_message = "Ready";
    item.proc_argv = {"tool"};
    item.remote_info = {"server", "name", "id", json_object{{"a", 1}}};
  }
  QueueItem& item;
};

}  // namespace

TEST_F(queue_text_size, values_of_every_job_count) {
  QueueItem item;
  add_item(TRANSCODE_READY).transcode_profile = std::string(10 * mib, 'p');
  add_item(TRANSCODE_DONE).input_file = std::string(10 * mib, 'p');
  EXPECT_TRUE(has_room_in_queue_text(item, "", std::string(3 * mib, 'p').c_str()));
  EXPECT_FALSE(has_room_in_queue_text(item, "", std::string(4 * mib, 'p').c_str()));
}

TEST_F(queue_text_size, other_values_of_the_new_job_also_count) {
  QueueItem item;
  item.input_file = std::string(20 * mib, 'i');
  EXPECT_FALSE(has_room_in_queue_text(item, "", std::string(4 * mib, 'p').c_str()));
}

TEST_F(queue_text_size, replaced_value_does_not_count) {
  QueueItem& item = add_item(TRANSCODE_READY);
  item.transcode_profile = std::string(20 * mib, 'p');
  EXPECT_TRUE(has_room_in_queue_text(item, item.transcode_profile.c_str(),
                                     std::string(21 * mib, 'q').c_str()));
}

TEST_F(queue_text_size, shorter_value_is_accepted_even_if_the_queue_is_too_long) {
  QueueItem& item = add_item(TRANSCODE_READY);
  item.transcode_profile = std::string(30 * mib, 'p');
  EXPECT_TRUE(has_room_in_queue_text(item, item.transcode_profile.c_str(), "720"));
}

TEST_F(queue_text_size, characters_count_with_their_written_length) {
  const QueueItem item;
  for (const auto& [character, times] :
       {std::pair{"p", 1U}, {"\"", 2U}, {"\n", 2U}, {"\x01", 6U}}) {
    EXPECT_TRUE(has_room_in_queue_text(item, "", std::string(23 * mib / times, *character).c_str()))
        << times;
    EXPECT_FALSE(
        has_room_in_queue_text(item, "", std::string(25 * mib / times, *character).c_str()))
        << times;
  }
}

// The most a full queue can hold in addition to clients' values.
TEST_F(queue_text_size, is_never_less_than_the_text) {
  for (const char c : {'p', '"', '\n', '\x01', '\xff'}) {
    empty_queue();
    const std::string text(100000, c);
    QueueItem& item = add_item(TRANSCODE_REMOTE);
    item.state_message = item.input_file = item.output_file = item.transcode_profile = text;
    item.entry_id = text;
    item.quoted_profile = item.proc_argv = {text, text};
    item.remote_info = {text, text, text, json_object{{text, json_array{text, 0.1, true}}}};
    const QueueItem other;
    const std::string room(queue_text_size_limit - queue_text().size(), 'p');
    EXPECT_FALSE(has_room_in_queue_text(other, "", room.c_str()));
  }
}

TEST_F(queue_text_left_out, is_nothing_while_it_can_be_read_back) {
  item.state_message = std::string(31 * mib, 'x');
  const auto stored = document_of_queue()["list"][0];
  EXPECT_EQ(stored["state"].string_value().size(), 31 * mib);
  EXPECT_EQ(stored["process argv"], json_array{"tool"});
  EXPECT_TRUE(stored["remote job"]["json"].is_object());
}

TEST_F(queue_text_left_out, is_only_what_a_job_can_find_out_again) {
  add_item(TRANSCODE_DONE).state_message = std::string(32 * mib, 'x');
  const auto stored = document_of_queue()["list"];
  EXPECT_EQ(stored[0]["process argv"], json_array{});
  EXPECT_EQ(stored[0]["quoted profile"], json_array{});
  EXPECT_EQ(stored[0]["ready state"], "init") << "the profiles are listed again";
  EXPECT_TRUE(stored[0]["remote job"]["json"].is_null());
  EXPECT_EQ(stored[0]["remote job"]["entry id"], "id");
  EXPECT_EQ(stored[0]["transcode profile"], "720");
  EXPECT_EQ(stored[0]["state"], "Ready");
  EXPECT_EQ(stored[1]["state"].string_value(), std::string(1000, 'x'));
}

TEST_F(queue_text_left_out, is_left_out_of_an_item_with_more_elements_than_are_read_back) {
  item.quoted_profile.assign(most_item_elements, "1");
  add_item(TRANSCODE_DONE).proc_argv = {"tool"};
  const auto stored = document_of_queue()["list"];
  EXPECT_EQ(stored[0]["quoted profile"], json_array{});
  EXPECT_EQ(stored[0]["ready state"], "init");
  EXPECT_EQ(stored[1]["process argv"], json_array{"tool"}) << "only of that item";
}

TEST_F(queue_text_left_out, is_nothing_of_the_largest_item) {
  item.quoted_profile.assign(longest_listing / 2, "1");
  item.remote_info.json = json_object{{"a", json_array(proc_buffer_size / 3, json_array{})}};
  const auto stored = document_of_queue()["list"][0];
  EXPECT_EQ(stored["quoted profile"].array_items().size(), longest_listing / 2);
  EXPECT_TRUE(stored["remote job"]["json"].is_object());
}

TEST_F(queue_text_left_out, makes_a_download_poll_its_job_again) {
  item.sm.set_state(TRANSCODE_REMOTE);
  item.sm.remote.set_state(REMOTE_DOWNLOAD);
  EXPECT_EQ(document_of_queue()["list"][0]["remote transcode state"], "download");
  add_item(TRANSCODE_DONE).state_message = std::string(32 * mib, 'x');
  EXPECT_EQ(document_of_queue()["list"][0]["remote transcode state"], "monitor");
}

// Ids come from another server: at worst each of their bytes is written as six.
TEST_F(queue_text_left_out, leaves_room_for_any_ids_of_a_server) {
  for (int i = 0; i < 512; ++i) {
    add_item(TRANSCODE_CANCELLED).remote_info.entry_id = std::string(16000, '\x01');
  }
  EXPECT_LT(queue_text().size(), queue_file_size_limit);
}
