// Many jobs with sources on a file system that answers: how much of the service's time they take.
#include <filesystem>
#include <string>
#include <vector>

#include "lifecycle/restart.h"
#include "lifecycle/scheduler.h"
#include "queue/process_state.h"
#include "queue/queue_file.h"
#include "queue/transcode_queue.h"
#include "tests/exec/exec_bench.h"
#include "tests/support/silent_mount.h"
#include "tests/support/skip.h"

using namespace qx_test;

extern "C" pid_t __real_fork();

namespace {

class sources_on_a_share : public private_exec_bench {
protected:
  void SetUp() override {
    if (!mount_.is_mounted()) { QX_SKIP_OR_FAIL_IN_CI("FUSE cannot be used"); }
    std::filesystem::create_directories(root_.path("/mnt/main/tv/vod"));
  }

  void add_jobs(const std::vector<std::string>& sources) {
    for (const std::string& source : sources) {
      QueueItem& item = add_ready_item(READY_CHECK_META);
      EXPECT_TRUE(item.set_input_file(source.c_str()));
      EXPECT_TRUE(item.set_fileops_job_id(-1) && item.init_fileops_job());
      item.state_message = "Ready";
    }
  }
  // From now on each look takes this long by the service's clock.
  void count_looks(std::uint64_t duration_us) {
    kernel.waits_forever = true;
    kernel.fork = [this, duration_us] {
      ++looks_;
      clock_us += duration_us;
      return __real_fork();
    };
  }

  int looks_ = 0;
  silent_mount mount_{root_, "/mnt/share"};
};

}  // namespace

TEST_F(sources_on_a_share, hold_up_clients_for_25_ms_in_a_pass) {
  inside([&] {
    uptime_wait = false;
    next_queue_scan = clock_us + 1000000000;
    add_jobs(std::vector<std::string>(12, "/mnt/share/clip.mpg"));
    count_looks(5000);
    idle_transcode_queue();
    EXPECT_LE(looks_, 5);
    QueueItem& last = *transcode_queue.back();
    EXPECT_EQ(last.missed_source_looks, 0U);
    EXPECT_EQ(last.state_message, "Ready");
    EXPECT_EQ(next_early_turn, clock_us + 5000) << "the others follow at once";
  });
}

TEST_F(sources_on_a_share, hold_up_a_start_for_five_seconds) {
  inside([&] {
    std::vector<std::string> sources;  // a late answer to one is none to another
    for (int i = 0; i < 220; ++i) {
      sources.push_back("/mnt/share/missing-" + std::to_string(i) + ".mpg");
    }
    add_jobs(sources);
    EXPECT_TRUE(write_queue());
    for (QueueItem* item : transcode_queue) {
      delete item;
    }
    transcode_queue.clear();
    count_looks(25000);
    EXPECT_TRUE(read_queue());
    EXPECT_LE(looks_, 200);
    EXPECT_EQ(transcode_queue.size(), sources.size());
    EXPECT_TRUE(transcode_queue.back()->source_silent) << "to be checked later";
    EXPECT_EQ(transcode_queue.back()->state_message, "Ready");
  });
}
