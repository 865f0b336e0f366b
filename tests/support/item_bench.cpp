#include "tests/support/item_bench.h"

#include <filesystem>

#include <unistd.h>

#include "queue/process_state.h"
#include "queue/slots.h"
#include "queue/transcode_queue.h"

std::uint64_t monotonic_clock_us() {
  return qx_test::clock_us;
}

std::uint64_t gettimeofday_us() {
  return qx_test::clock_us;
}

namespace qx_test {

std::uint64_t clock_us = start_of_clock;

namespace fs = std::filesystem;

item_bench::item_bench() {
  char name[] = "/tmp/qx.XXXXXX";
  EXPECT_NE(mkdtemp(name), nullptr);
  folder_ = name;
  clock_us = start_of_clock;
  next_queue_scan = 0;
  all_turns_due = true;
  next_background_write_queue = 0;
  transcode_queue_mod_count = 0;
  uptime_wait = false;
  DIE = 0;
  item_active_transcode_in_action = nullptr;
}

item_bench::~item_bench() {
  for (QueueItem* item : transcode_queue) {
    if (item != nullptr) {
      item->proc_pid = -1;  // it has been reaped
    }
    delete item;
  }
  transcode_queue.clear();
  item_active_transcode_in_action = nullptr;
  std::error_code error;
  fs::remove_all(folder_, error);
}

QueueItem& item_bench::add_item(transcode_states state) {
  auto* const item = new QueueItem;
  item->fileops_job_id = ++jobs_;
  item->fileops_job_dir = folder_ + "/" + std::to_string(jobs_);
  fs::create_directory(item->fileops_job_dir);
  item->sm.set_state(state);
  transcode_queue.push_back(item);
  return *item;
}

}  // namespace qx_test
