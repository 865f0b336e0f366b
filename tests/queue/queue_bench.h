// Items in the test's own process: the clock stands still, signals are recorded instead of sent,
// and status writes are recorded. Tests that need fixed paths run in a child with its own /mnt.
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

// The value returned by both clocks of the service.
extern std::uint64_t clock_us;

// Every signal sent since the test began: target and number. None of them is delivered.
extern std::vector<std::pair<pid_t, int>> signals_sent;

// If set, it is called for every write and release: "write BYTES", "close DESCRIPTOR", "rename
// PATH", "replace PATH" if the target existed, "buffer", "metadata entries", "metadata context".
extern strings* calls_noted;

// If set, it replaces the library function that makes the 16 bytes of a UUID.
struct item_answers {
  std::function<void(unsigned char* bytes)> uuid;
};
extern item_answers answers;

// The text written to standard error while the action runs.
std::string stderr_of(const std::function<void()>& action);

// The inode number of a file; 0 if there is none.
ino_t inode_of(const std::string& path);

constexpr const char* source_file = "/mnt/media/clip.mpg";
constexpr const char* queue_file_path = "/mnt/main/tv/vod.queue.js";

// The document of an item with entry id "id" and the source above, in this state; `more` replaces
// or adds keys.
json11::Json item_document(const std::string& state, const json_object& more = {});

// The directory of a file-operations job.
std::string job_directory(int id);

class queue_bench : public ::testing::Test {
protected:
  queue_bench();
  ~queue_bench() override;

  // Runs the action with a private /mnt that only has the source, the folder of the queue file and
  // the directory of job 7. The test fails if an expectation in the action does.
  static void inside(const std::function<void()>& action);

  // A job directory for this test only.
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
