// The service that ships, started on something that is no queue file: it says so and serves on.
#include "tests/queue/stored_queue.h"

#include <filesystem>
#include <gmock/gmock.h>

#include <sys/stat.h>

using namespace qx_test;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace {

constexpr const char* queue_file_path = "/mnt/main/tv/vod.queue.js";
constexpr const char* source = "/mnt/media/clip.mpg";

struct odd_machine : stored_machine {
  odd_machine() { root.write_source(source, "video/mp2t"); }

  // The service starts on what stands there, says so first, and does a job.
  void expect_service(const std::string& first_line) {
    start();
    EXPECT_THAT(service.stderr_lines().front(), StartsWith(first_line));
    EXPECT_THAT(listed_ids(), IsEmpty());
    client.wait_for_transcode_state(client.add_ready(source), "done");
  }
  // At its stop the queue is written over it.
  void expect_mended() {
    service.stop();
    EXPECT_EQ(queue_document()["list"].array_items().size(), 1U);
  }
};

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

}  // namespace

TEST(odd_queue_file, cut_short) {
  odd_machine machine;
  machine.root.write_queue_file("{\"list\": [{\"entry id\": \"a\"");
  machine.expect_service("Queue was not read, error ");
  machine.expect_mended();
}

TEST(odd_queue_file, nested_without_end) {
  odd_machine machine;
  machine.root.write_queue_file("{\"list\": " + nested(10000) + "}");
  machine.expect_service("Queue was not read, error ");
  machine.expect_mended();
}

TEST(odd_queue_file, huge) {
  odd_machine machine;
  machine.root.write_queue_file("");
  fs::resize_file(machine.root.path(queue_file_path), 1ULL << 40);
  machine.expect_service("Queue was not read, error ");
  machine.expect_mended();
}

TEST(odd_queue_file, no_list) {
  odd_machine machine;
  machine.root.write_queue_file("{}");
  machine.expect_service("Queue warning, list was empty");
  machine.expect_mended();
}

TEST(odd_queue_file, list_of_another_kind) {
  odd_machine machine;
  machine.root.write_queue_file("{\"list\": \"none\"}");
  machine.expect_service("Queue warning, list was not array");
  machine.expect_mended();
}

TEST(odd_queue_file, fifo) {
  odd_machine machine;
  ASSERT_EQ(mkfifo(machine.root.path(queue_file_path).c_str(), 0600), 0);
  machine.expect_service("Queue was not read, error ");
  machine.expect_mended();
}

TEST(odd_queue_file, directory) {
  odd_machine machine;
  fs::create_directory(machine.root.path(queue_file_path));
  machine.expect_service("Queue was not read, error ");
  EXPECT_EQ(machine.service.stop().status, 0);
  EXPECT_TRUE(fs::is_directory(machine.root.path(queue_file_path)));
}

TEST(odd_queue_file, link_to_itself) {
  odd_machine machine;
  fs::create_symlink("vod.queue.js", machine.root.path(queue_file_path));
  machine.expect_service("Unable to open queue file");
  machine.expect_mended();
}

TEST(odd_queue_file, folder_that_takes_no_new_file) {
  odd_machine machine;
  fs::create_directory(machine.root.path("/mnt/main/tv/vod.queue.js.tmp"));
  machine.root.write_queue_file("{\"list\": []}");
  machine.start();
  EXPECT_EQ(machine.service.stop().status, 0);
  EXPECT_EQ(machine.root.queue_file(), "{\"list\": []}");
}
