// The shipped service, started with something other than a queue file in place: it reports that and
// keeps serving.
#include <filesystem>

#include <sys/mount.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include "tests/queue/stored_queue.h"

using namespace qx_test;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace {

constexpr const char* settings_folder = "/mnt/main/tv";
constexpr const char* queue_file_path = "/mnt/main/tv/vod.queue.js";
constexpr const char* source = "/mnt/media/clip.mpg";

struct odd_machine : stored_machine {
  odd_machine() { root.write_source(source, "video/mp2t"); }

  // The service starts in spite of it, reports it first, and completes a job.
  void expect_service(const std::string& first_line) {
    start();
    EXPECT_THAT(service.stderr_lines().front(), StartsWith(first_line));
    EXPECT_THAT(listed_ids(), IsEmpty());
    client.wait_for_transcode_state(client.add_ready(source), "done");
  }
  // When the service stops, the queue file replaces it.
  void expect_mended() {
    service.stop();
    EXPECT_EQ(queue_document()["list"].array_items().size(), 1U);
  }
};

// The paths, inside, of the copies of unreadable queue files.
std::vector<std::string> copies(const private_root& root) {
  std::vector<std::string> found;
  for (const auto& entry : fs::directory_iterator(root.path(settings_folder))) {
    const std::string name = entry.path().filename();
    if (name.find(".unreadable-") != std::string::npos) {
      found.push_back(std::string(settings_folder) + "/" + name);
    }
  }
  return found;
}

std::string nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

}  // namespace

TEST(odd_queue_file, truncated) {
  odd_machine machine;
  machine.root.write_queue_file("{\"list\": [{\"entry id\": \"a");
  machine.expect_service("Queue was not read, error unexpected end of input in string");
  machine.expect_mended();
}

TEST(odd_queue_file, damaged_between_two_jobs) {
  odd_machine machine;
  machine.root.write_queue_file("{\"list\": [{\"a\":1} {\"b\":2}]}");
  machine.expect_service("Queue was not read, error expected ',' in list, got '{' (123)");
  machine.expect_mended();
}

TEST(odd_queue_file, damaged_outside_the_list) {
  odd_machine machine;
  const json11::Json list(json_object{{"list", json_array{machine.stored("kept", "done", {})}}});
  machine.root.write_queue_file(list.dump().insert(1, "\"other\": [nonsense], "));
  machine.expect_service("Queue was not read, error parse error: expected null, got nons");
  machine.expect_mended();
}

TEST(odd_queue_file, endlessly_nested) {
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

TEST(odd_queue_file, without_a_list) {
  odd_machine machine;
  machine.root.write_queue_file("{}");
  machine.expect_service("Queue warning, list was empty");
  machine.expect_mended();
}

TEST(odd_queue_file, list_of_another_type) {
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
  machine.expect_mended();
}

TEST(odd_queue_file, link_to_itself) {
  odd_machine machine;
  fs::create_symlink("vod.queue.js", machine.root.path(queue_file_path));
  machine.expect_service("Unable to open queue file");
  machine.expect_mended();
}

TEST(odd_queue_file, folder_that_accepts_no_new_file) {
  odd_machine machine;
  fs::create_directory(machine.root.path("/mnt/main/tv/vod.queue.js.tmp"));
  machine.root.write_queue_file("{\"list\": []}");
  machine.start();
  EXPECT_EQ(machine.service.stop().status, 0);
  EXPECT_EQ(machine.root.queue_file(), "{\"list\": []}");
}

TEST(odd_queue_file, is_set_aside_unchanged) {
  odd_machine machine;
  const std::string text = "{\"list\": [{\"entry id\": \"a\"";
  machine.root.write_queue_file(text);
  machine.start();
  const auto found = copies(machine.root);
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(machine.root.read(found[0]), text);
  EXPECT_EQ(machine.service.stderr_lines().at(1), "Queue file was set aside as " + found[0]);
}

TEST(odd_queue_file, is_not_overwritten_while_it_cannot_be_set_aside) {
  odd_machine machine;
  machine.root.write_queue_file("{");
  ASSERT_EQ(machine.root.run_inside([] {
    return mount("/mnt/main/tv/vod.queue.js", "/mnt/main/tv/vod.queue.js", nullptr, MS_BIND,
                 nullptr) == 0
               ? 0
               : 1;
  }),
            0);
  machine.start();
  const std::string line = "Unable to set queue file aside, the queue will not be written, ";
  EXPECT_THAT(machine.service.stderr_lines().at(1), StartsWith(line));
  machine.service.stop();
  EXPECT_EQ(machine.root.run({"/bin/cat", queue_file_path}).out, "{");
}

TEST(odd_queue_file, is_not_media_even_when_set_aside) {
  odd_machine machine;
  machine.root.write_queue_file("{");
  machine.start();
  const auto id = machine.client.add_file(copies(machine.root).at(0));
  EXPECT_EQ(machine.client.command("ready", id).status(),
            "ONE OR MORE PARAMETERS CANNOT BE MODIFIED");
  EXPECT_EQ(machine.client.state_text(id), "Rejected: Forbidden input file");
}

TEST(queue_file_rights, are_limited_to_root_and_the_group_of_its_folder) {
  stored_machine machine;
  machine.start();
  machine.service.stop();
  EXPECT_EQ(machine.root.run({"/usr/bin/stat", "-c", "%a %u %g", queue_file_path}).out,
            "640 0 0\n");
}

TEST(queue_file_rights, are_withdrawn_from_others_at_the_next_write) {
  stored_machine machine;
  machine.root.write_queue_file("{\"list\": []}");
  machine.root.run({"/bin/chmod", "666", queue_file_path});
  machine.start();
  machine.service.stop();
  EXPECT_EQ(machine.root.run({"/usr/bin/stat", "-c", "%a", queue_file_path}).out, "640\n");
}

TEST(queue_file_rights, withdrawn_by_an_administrator_stay_withdrawn) {
  stored_machine machine;
  machine.root.write_queue_file("{\"list\": []}");
  machine.root.run({"/bin/chmod", "600", queue_file_path});
  machine.start();
  machine.service.stop();
  EXPECT_EQ(machine.root.run({"/usr/bin/stat", "-c", "%a", queue_file_path}).out, "600\n");
}

TEST(queue_file_temporary, link_in_its_place_is_not_followed) {
  stored_machine machine;
  machine.root.write("/mnt/media/precious", "precious");
  fs::create_symlink("../../media/precious", machine.root.path("/mnt/main/tv/vod.queue.js.tmp"));
  machine.start();
  machine.service.stop();
  EXPECT_EQ(machine.root.read("/mnt/media/precious"), "precious");
  EXPECT_TRUE(machine.queue_document()["list"].is_array());
}

// Clients' values may take 24 MiB of the queue's text. A quotation mark is written as two bytes.
TEST(queue_size, value_beyond_the_limit_is_refused_and_the_rest_survives_a_restart) {
  stored_machine machine;
  machine.service.set_uptime(young_uptime_s);
  machine.root.write_source(source, "video/mp2t");
  machine.start();
  const std::string profile(1000000, '"');
  std::vector<std::string> ids;
  for (int i = 0; i < 12; ++i) {
    ids.push_back(machine.client.add_ready(source, {{"transcode profile", profile}}));
  }
  EXPECT_EQ(machine.client.request("add", {{"transcode profile", profile}}).status(),
            "One or more parameters were not accepted");
  ids.push_back(machine.client.add_ready(source));
  EXPECT_EQ(machine.client.command("modify", ids.back(), {{"transcode profile", profile}}).status(),
            "ONE OR MORE PARAMETERS CANNOT BE MODIFIED");
  EXPECT_EQ(machine.client.command("modify", ids.back(), {{"transcode profile", "720"}}).status(),
            "OK");
  machine.service.restart();
  for (const auto& id : ids) {
    EXPECT_EQ(machine.client.transcode_state(id), "ready") << id;
  }
}
