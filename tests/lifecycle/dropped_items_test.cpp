// What a start says about the items of the queue file that it does not take over, and what it costs
// to refuse a file that was made to be expensive.
#include <filesystem>

#include <gmock/gmock.h>

#include "lifecycle/restart.h"
#include "queue/transcode_queue.h"
#include "tests/queue/queue_bench.h"
#include "tests/support/failing_memory.h"

using namespace qx_test;
using json11::Json;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

namespace {

Json stored(const std::string& id, const char* state, json_object more = {}) {
  more.emplace("entry id", id);
  fs::create_directories(job_directory(7));
  more.emplace("fileops job id", 7);
  return item_document(state, more);
}

void write_queue_file(const json_array& items) {
  write_file(queue_file_path, Json(json_object{{"list", items}}).dump());
}

std::string dropped(int position, const std::string& id, const std::string& reason) {
  return "Queue warning, item " + std::to_string(position) + " (entry='" + id +
         "') was dropped: " + reason;
}

// A text of this many MiB that consists of the unit, again and again.
std::string repeated(const std::string& unit, std::size_t mib) {
  std::string text;
  while (text.size() < mib << 20U) {
    text += unit;
  }
  return text;
}

std::string said_by_reading() {
  return stderr_of([] { EXPECT_TRUE(read_queue()); });
}

class dropped_items : public queue_bench {};
class hostile_queue_file : public queue_bench {};

}  // namespace

TEST_F(dropped_items, each_refused_element_is_told_with_its_position_and_the_reason) {
  inside([] {
    write_queue_file({5, stored("a", "init"), stored("b", "done"), stored("c", "no such state"),
                      stored("", "done"), stored("d", "done", {{"input file", "clip.mpg"}}),
                      stored("e", "done", {{"output file", "/etc/passwd"}}),
                      stored("f", "cancelled", {{"fileops job id", 12345}})});
    EXPECT_THAT(lines_of(said_by_reading()),
                ElementsAre(dropped(1, "", "it is not an object"),
                            dropped(2, "a", "it was never made ready, or its state is unknown"),
                            dropped(4, "c", "it was never made ready, or its state is unknown"),
                            dropped(5, "", "it has no entry id"),
                            dropped(6, "d", "its input file is not acceptable"),
                            dropped(7, "e", "its output file is not acceptable"),
                            dropped(8, "f", "it is over and its file operation is gone")));
    EXPECT_THAT(entry_ids(), ElementsAre("b"));
  });
}

TEST_F(dropped_items, element_with_too_many_elements_is_dropped_alone) {
  inside([] {
    const json_array many(40000, 0);
    write_queue_file(
        {stored("a", "done", {{"remote job", json_object{{"json", many}}}}), stored("b", "done")});
    EXPECT_THAT(lines_of(said_by_reading()),
                ElementsAre(dropped(1, "", "it has too many elements")));
    EXPECT_THAT(entry_ids(), ElementsAre("b"));
  });
}

TEST_F(dropped_items, elements_beyond_a_full_queue_are_told_in_one_line) {
  inside([] {
    json_array items;
    for (int i = 0; i < 600; ++i) {
      items.push_back(stored(std::to_string(i), "done"));
    }
    write_queue_file(items);
    EXPECT_EQ(said_by_reading(),
              "Queue warning, items 513 to 600 were dropped: a queue has 512 items at most\n");
    EXPECT_EQ(transcode_queue.size(), 512U);
  });
}

TEST_F(dropped_items, long_and_odd_ids_are_told_on_one_short_line) {
  inside([] {
    write_queue_file({stored("a\nb" + std::string(5000, 'x'), "init")});
    EXPECT_EQ(said_by_reading(), dropped(1, "a?b" + std::string(97, 'x'),
                                         "it was never made ready, or its state is unknown") +
                                     "\n");
  });
}

// Otherwise it would cost seconds and gigabytes, whether there are many elements or one that is
// many. bench/queue_load measures what is left.
TEST_F(hostile_queue_file, is_refused_before_a_value_is_made_of_each_element) {
  inside([] {
    constexpr std::size_t mib = 3;
    constexpr long allocations = 10000;
    for (const std::string unit : {"{},", "[],", "0,", "[[[[]]]],", "{\"\":{}},"}) {
      for (const auto& [begin, end] : {std::pair{"[", "0]"}, {"[[", "0]]"}}) {
        write_file(queue_file_path, "{\"list\":" + (begin + repeated(unit, mib)) + end + "}");
        const failing_memory limit(allocations, failing::once);
        said_by_reading();
        EXPECT_FALSE(failing_memory::has_failed()) << unit;
        EXPECT_THAT(transcode_queue, IsEmpty());
      }
    }
  });
}
