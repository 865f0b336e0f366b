// The child of a step at its end, ready to be evaluated.
#pragma once

#include <cstring>
#include <string>

#include "platform/sliding_window_v4.h"
#include "queue/process_state.h"
#include "tests/exec/exec_bench.h"

namespace qx_test {

constexpr int failures[] = {exited(1), exited(254), exited(255), killed_by(SIGKILL),
                            killed_by(SIGSEGV) | 0x80};

class ended_step : public exec_bench {
protected:
  // A child that was started in the item's current state.
  static QueueItem& run(QueueItem& item) {
    fake_child::run_for(item);
    return item;
  }
  QueueItem& run(transcode_states state) { return run(add_item(state)); }
  QueueItem& run(ready_states state) { return run(add_ready_item(state)); }
  QueueItem& run(thumbnail_states state) {
    QueueItem& item = add_item(TRANSCODE_THUMBNAIL);
    item.sm.thumbnail.set_state(state);
    return run(item);
  }
  QueueItem& run(cleanup_states state) {
    QueueItem& item = add_item(TRANSCODE_CLEANUP);
    item.sm.cleanup.set_state(state);
    return run(item);
  }
  // A listing tool that has printed this.
  QueueItem& run_listing(const std::string& output) {
    QueueItem& item = run(READY_QUERY_PROFILES);
    EXPECT_TRUE(item.set_input_file("/mnt/media/clip.mpg"));
    EXPECT_TRUE(QueueItem::_std_init_buffer(item.proc_stdout_buffer, proc_buffer_size));
    memcpy(item.proc_stdout_buffer->write_pos, output.data(), output.size());
    item.proc_stdout_buffer->write_pos += output.size();
    return item;
  }
  // Evaluates it; earlier status writes are forgotten.
  static void end(QueueItem& item, int wait_status) {
    status_writes.clear();
    next_queue_scan = 0;
    item.on_proc_terminate(wait_status);
  }
  static bool rescans() { return next_queue_scan == clock_us; }

  fake_child child_;
};

}  // namespace qx_test
