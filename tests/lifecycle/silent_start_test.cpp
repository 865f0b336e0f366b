// The scheduler, when the source of the job whose turn it is does not answer.
#include "lifecycle/scheduler.h"
#include "queue/process_state.h"
#include "tests/exec/exec_bench.h"
#include "tests/support/silent_mount.h"
#include "tests/support/skip.h"

using namespace qx_test;

namespace {

class silent_start : public private_exec_bench {
protected:
  silent_mount mount_{root_, "/mnt/share"};
};

}  // namespace

TEST_F(silent_start, brings_the_next_jobs_turn_at_once) {
  if (!mount_.is_mounted()) { QX_SKIP_OR_FAIL_IN_CI("FUSE cannot be used"); }
  mount_.fall_silent();
  inside([&] {
    QueueItem& item = add_candidate();
    EXPECT_TRUE(item.set_input_file("/mnt/share/clip.mpg"));
    next_queue_scan = 0;
    EXPECT_FALSE(idle_transcode_queue());
    EXPECT_TRUE(item.source_silent);
    EXPECT_EQ(item.sm.state, TRANSCODE_READY);
    EXPECT_EQ(next_queue_scan, clock_us);
    EXPECT_EQ(next_early_turn, clock_us + 5000);
  });
}
