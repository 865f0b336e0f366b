// Eight jobs with the shipped tools, paused, resumed, cancelled and restarted at random. Whenever
// things settle, nothing runs that is shown as paused; at the end nothing is left. QX_SOAK_SECONDS
// is the duration.
#include <chrono>
#include <filesystem>
#include <map>

#include <unistd.h>

#include <gmock/gmock.h>

#include "tests/soak/process_view.h"
#include "tests/support/media/test_media.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::IsEmpty;

namespace {

namespace fs = std::filesystem;
using clock_type = std::chrono::steady_clock;

constexpr int job_count = 8;
constexpr std::chrono::seconds quiet_interval{4};

class random_commands : public ::testing::Test {
protected:
  random_commands() {
    for (int i = 0; i < job_count; ++i) {
      fs::copy_file(test_media("long.mp4"), machine_.root.path(source(i)));
    }
    machine_.start();
    // One job first: the service opens some descriptors for good with the first one.
    ids_[0] = machine_.client.add_ready(source(0));
    end_all_jobs();
    EXPECT_TRUE(wait_until([&] { return client_count() == 0; }));
    descriptors_ = machine_.service.open_descriptors();
    for (int i = 0; i < job_count; ++i) {
      ids_[i] = machine_.client.add_ready(source(i));
    }
  }

  static std::string source(int number) { return "/mnt/media/" + std::to_string(number) + ".mp4"; }
  // The service's sockets, except the one it listens on.
  int client_count() const {
    int count = -1;
    for (const auto& [number, target] : machine_.service.open_descriptors()) {
      count += target.rfind("socket:", 0) == 0 ? 1 : 0;
    }
    return count;
  }

  // One command for one job; a finished job is replaced with the same job again.
  void disturb() {
    const int number = static_cast<int>(random_below(job_count));
    std::string& id = ids_[number];
    if (machine_.client.transcode_state(id) == "done") {
      EXPECT_EQ(machine_.client.command("remove", id).status(), "OK");
      id = machine_.client.add_ready(source(number));
    }
    static const char* const commands[] = {"pause",  "pause",   "pause",   "resume", "resume",
                                           "resume", "restart", "restart", "cancel"};
    machine_.client.command(commands[random_below(std::size(commands))], id);
    usleep(random_below(30000));
  }

  void expect_order() {
    for (const auto& [number, id] : ids_) {
      const auto item = machine_.client.item(id);
      EXPECT_NE(item["state"].string_value(), "Transcoding failed") << "job " << number;
      if (item["transcode state"] == "transcoding" && item["paused"].bool_value()) {
        EXPECT_TRUE(view_.comes_to_rest(item)) << "job " << number << " is shown as paused";
      }
    }
  }

  void end_all_jobs() {
    for (const auto& [number, id] : ids_) {
      machine_.client.command("cancel", id);
      EXPECT_TRUE(wait_until([&] {
        const std::string state = machine_.client.transcode_state(id);
        return state == "cancelled" || state == "done";
      })) << "job "
          << number;
      EXPECT_EQ(machine_.client.command("remove", id).status(), "OK");
    }
    EXPECT_TRUE(wait_until([&] { return machine_.client.list()["total"].int_value() == 0; }));
  }
  // Unfinished results of tools.
  std::vector<std::string> part_files() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(machine_.root.path("/mnt"))) {
      const std::string name = entry.path().filename();
      if (name.find("part") != std::string::npos) { found.push_back(entry.path()); }
    }
    return found;
  }

  test_machine machine_{tool_set::built};
  process_view view_{machine_.root};
  std::map<int, std::string> ids_;
  std::map<int, std::string> descriptors_;
};

}  // namespace

TEST_F(random_commands, leave_nothing_running_and_no_leftovers) {
  const auto end = clock_type::now() + std::chrono::seconds(soak_setting("QX_SOAK_SECONDS", 15));
  while (clock_type::now() < end && !HasFailure()) {
    const auto quiet = clock_type::now() + quiet_interval;
    while (clock_type::now() < quiet) {
      disturb();
    }
    expect_order();
  }
  end_all_jobs();
  EXPECT_TRUE(wait_until([&] {
    return machine_.root.processes() == std::vector<pid_t>{machine_.service.inner_pid()};
  })) << machine_.root.processes().size()
      << " processes";
  EXPECT_TRUE(wait_until([&] { return client_count() == 0; }));
  EXPECT_EQ(machine_.service.open_descriptors(), descriptors_);
  EXPECT_THAT(part_files(), IsEmpty());
}
