#include "remote/lifecycle_remote.h"

#include <cstdlib>

#include "exec/child_output.h"
#include "exec/fail.h"
#include "platform/clock.h"
#include "queue/descriptor.h"
#include "queue/queue_item.h"
#include "queue/slots.h"
#include "remote/remote_step.h"
#include "rules/control_words.h"

namespace {

constexpr std::uint64_t remote_poll_us = 1000000;
constexpr std::uint64_t upload_progress_us = 500000;
constexpr int spread_us = 100000;  // keeps items from polling in lockstep

std::uint64_t random_spread_us() {
  return static_cast<std::uint64_t>(rand() % spread_us);
}

// Only one item transfers at a time: nobody may be transferring in the other direction, and nobody
// else in this one.
bool transfer_must_wait(const QueueItem* same_slot, const QueueItem* other_slot,
                        const QueueItem* item) {
  return other_slot != nullptr || (same_slot != nullptr && same_slot != item);
}

void idle_remote_running(QueueItem& item) {
  // The child's original step decides, because the item may have changed state since. A download
  // whose output nobody reads would end.
  if (item.proc_sm.remote.state == REMOTE_DOWNLOAD) {
    item.read_download_progress();
    drop_overlong_line(item.proc_stdout_buffer);
  } else if (is_buffer_full(item.proc_stdout_buffer)) {
    // A reply that does not fit would block the HTTP client on the pipe forever. With the pipe
    // closed the client exits, usually with an error, and is judged by its exit status.
    close_descriptor(item.proc_stdout_read_fd);
  } else if (item.sm.remote.state == REMOTE_UPLOAD) {
    std::uint64_t const now = monotonic_clock_us();
    if (now >= item.next_upload_progress_read) {
      item.remote_transcode_upload_procfs_read_progress();
      item.next_upload_progress_read = now + upload_progress_us + random_spread_us();
    }
  }
}

// If several items wait for the upload slot, chance decides which one gets it.
void start_upload(QueueItem& item) {
  if (item.paused ||
      transfer_must_wait(item_active_upload_in_action, item_active_download_in_action, &item) ||
      (static_cast<unsigned>(rand()) & 1U) == 0) {
    return;
  }
  if (!item.proc_start_remote_transcode_upload()) {
    fail_start(item, "Unable to begin remote transcode upload");
    return;
  }
  // If the server already has the source, nothing was started, and nothing would free the slot.
  if (item.proc_pid != -1) { item_active_upload_in_action = &item; }
}

void start_add(QueueItem& item) {
  if (!item.paused && !item.proc_start_remote_transcode_add()) {
    fail_start(item, "Unable to add to remote");
  }
}

void start_download(QueueItem& item) {
  if (item.paused ||
      transfer_must_wait(item_active_download_in_action, item_active_upload_in_action, &item)) {
    return;
  }
  if (!item.proc_start_remote_transcode_download()) {
    fail_start(item, "Unable to download remote finished transcode");
    return;
  }
  item_active_download_in_action = &item;
}

// Reads the fields once per document rather than every turn: with many monitored jobs that would
// cost a noticeable share of a processor. An unreadable document is treated as an item with default
// values.
void read_remote_view(QueueItem& item) {
  if (item.remote_view.is_read) { return; }
  QueueItem scratch;
  read_scratch_item(item, scratch);
  item.remote_view = {true, scratch.paused, scratch.sm.state};
}

// Compares the user's wishes with the server's last document; polls again when it is time.
void monitor_remote(QueueItem& item) {
  read_remote_view(item);
  const char* command = nullptr;
  if (item.user_wants_pause && !item.remote_view.paused) {
    command = command_pause;
  } else if (!item.user_wants_pause && item.remote_view.paused) {
    command = command_resume;
  } else if (item.user_wants_cancel && item.remote_view.state != TRANSCODE_CANCELLED &&
             item.remote_view.state != TRANSCODE_CANCELLING) {
    command = command_cancel;
  }
  if (command != nullptr) {
    item.sm.remote.set_state(REMOTE_COMMAND);
    item.sm.remote_command = command;
    return;
  }
  std::uint64_t const now = monotonic_clock_us();
  if (now >= item.next_remote_poll) {
    item.next_remote_poll = now + remote_poll_us + random_spread_us();
    item.proc_start_remote_transcode_monitor();
    // A source that did not answer in time is looked at again before the next poll would be due.
    if (item.source_silent) { item.next_remote_poll = item.next_source_look; }
  }
}

void start_command(QueueItem& item) {
  std::uint64_t const now = monotonic_clock_us();
  if (now >= item.next_remote_poll) {
    item.next_remote_poll = now + remote_poll_us;
    item.proc_start_remote_transcode_command();
  }
}

}  // namespace

void idle_remote(QueueItem& item) {
  if (item.is_running()) {
    idle_remote_running(item);
    return;
  }
  switch (item.sm.remote.state) {
  case REMOTE_INIT:
    item.sm.remote.set_state(REMOTE_UPLOAD);
    break;
  case REMOTE_UPLOAD:
    start_upload(item);
    break;
  case REMOTE_ADD:
    start_add(item);
    break;
  case REMOTE_MONITOR:
    monitor_remote(item);
    break;
  case REMOTE_DOWNLOAD:
    start_download(item);
    break;
  case REMOTE_DONE:
    item.sm.set_state(TRANSCODE_THUMBNAIL);
    item.fileops_write_status();
    break;
  case REMOTE_COMMAND:
    start_command(item);
    break;
  }
}
