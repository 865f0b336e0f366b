// Jobs in the test's own process: the clock stands still, signals go nowhere and are noted. What
// needs fixed places runs in a child with its own /mnt.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

#include <gtest/gtest.h>

#include "queue/queue_item.h"
#include "tests/support/files.h"

namespace qx_test {

using strings = std::vector<std::string>;
using json_object = json11::Json::object;
using json_array = json11::Json::array;

constexpr std::uint64_t start_of_clock = 1000000000;

constexpr transcode_states all_states[] = {
    TRANSCODE_INIT,   TRANSCODE_CANCELLED,   TRANSCODE_CANCELLING, TRANSCODE_READY,
    TRANSCODE_REMOTE, TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL,  TRANSCODE_CLEANUP,
    TRANSCODE_DONE,   TRANSCODE_CLEARED};

// What both clocks of the service answer.
extern std::uint64_t clock_us;

// Every signal sent since the test began: to whom and which. None of them reaches anybody.
extern std::vector<std::pair<pid_t, int>> signals_sent;

// Where it is set it is told what is written and released: "write BYTES", "close DESCRIPTOR",
// "rename PATH", "replace PATH" where that was there already, "buffer", "metadata entries",
// "metadata context".
extern strings* calls_noted;

// Where it is set it answers in place of the library that makes the 16 bytes of a UUID.
struct item_answers {
  std::function<void(unsigned char* bytes)> uuid;
};
extern item_answers answers;

// What standard error gets while the action runs.
std::string stderr_of(const std::function<void()>& action);

// The inode number of a file, 0 when there is none.
ino_t inode_of(const std::string& path);

constexpr const char* source_file = "/mnt/media/clip.mpg";
constexpr const char* queue_file_path = "/mnt/main/tv/vod.queue.js";

// The document of an item with entry id "id" and the source above, in that state; `more` replaces
// or adds keys.
json11::Json item_document(const std::string& state, const json_object& more = {});

// The directory of a file-operations job.
std::string job_directory(int id);

class queue_bench : public ::testing::Test {
protected:
  queue_bench();
  ~queue_bench() override;

  // Does it where /mnt is its own and empty but for the source, the folder of the queue file and
  // the directory of job 7; the test fails when an expectation of it does.
  static void inside(const std::function<void()>& action);

  // A job directory for an item of this test alone.
  void give_job(QueueItem& item);
  // The lines of the item's status file.
  static strings status_lines(const QueueItem& item);

  std::string folder_;
};

// The queue's items by entry id, in queue order.
strings entry_ids();
// Destroys all items of the queue.
void empty_queue();

}  // namespace qx_test
