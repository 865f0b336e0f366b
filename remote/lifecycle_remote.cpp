// The "remote transcode" phase of a job: upload, add, monitor with commands, download.
#include <cstdlib>

#include "exec/child_output.h"
#include "exec/slots.h"
#include "platform/clock.h"
#include "queue/descriptor.h"
#include "queue/queue_item.h"

namespace {

constexpr std::uint64_t remote_poll_us = 1000000;
constexpr std::uint64_t upload_progress_us = 500000;
constexpr int spread_us = 100000;  // keeps several items from polling in step

std::uint64_t random_spread_us() {
  return static_cast<std::uint64_t>(rand() % spread_us);
}

// One transfer at a time over all items: none of the other kind, and none of this kind but ours.
bool transfer_must_wait(const QueueItem* same_slot, const QueueItem* other_slot,
                        const QueueItem* item) {
  return other_slot != nullptr || (same_slot != nullptr && same_slot != item);
}

}  // namespace

void QueueItem::idle_remote() {
  if (is_running()) {
    idle_remote_running();
    return;
  }
  switch (sm.remote.state) {
  case REMOTE_INIT:
    sm.remote.set_state(REMOTE_UPLOAD);
    break;
  case REMOTE_UPLOAD:
    start_upload();
    break;
  case REMOTE_ADD:
    start_add();
    break;
  case REMOTE_MONITOR:
    monitor_remote();
    break;
  case REMOTE_DOWNLOAD:
    start_download();
    break;
  case REMOTE_DONE:
    sm.set_state(TRANSCODE_THUMBNAIL);
    fileops_write_status();
    break;
  case REMOTE_COMMAND:
    start_command();
    break;
  }
}

void QueueItem::idle_remote_running() {
  // By what the child is for: the item may have moved on meanwhile, and a download that nobody
  // reads would end.
  if (proc_sm.remote.state == REMOTE_DOWNLOAD) {
    read_download_progress();
    drop_overlong_line(proc_stdout_buffer);
  } else if (is_buffer_full(proc_stdout_buffer)) {
    // A reply that does not fit would keep its client blocked on the pipe for ever. Without a
    // reader it ends by itself, mostly with a failure, and is judged by that.
    close_descriptor(proc_stdout_read_fd);
  } else if (sm.remote.state == REMOTE_UPLOAD) {
    std::uint64_t const now = monotonic_clock_us();
    if (now >= next_upload_progress_read) {
      remote_transcode_upload_procfs_read_progress();
      next_upload_progress_read = now + upload_progress_us + random_spread_us();
    }
  }
}

// Of several items that wait for the upload slot, chance decides which goes first.
void QueueItem::start_upload() {
  if (paused ||
      transfer_must_wait(item_active_upload_in_action, item_active_download_in_action, this) ||
      (static_cast<unsigned>(rand()) & 1U) == 0) {
    return;
  }
  if (!proc_start_remote_transcode_upload()) {
    cancel_with("Unable to begin remote transcode upload");
    fileops_write_status();
    return;
  }
  // A source that is over there already needs no upload: nothing runs that would free the slot.
  if (proc_pid != -1) { item_active_upload_in_action = this; }
}

void QueueItem::start_add() {
  if (!paused && !proc_start_remote_transcode_add()) {
    cancel_with("Unable to add to remote");
    fileops_write_status();
  }
}

void QueueItem::start_download() {
  if (paused ||
      transfer_must_wait(item_active_download_in_action, item_active_upload_in_action, this)) {
    return;
  }
  if (!proc_start_remote_transcode_download()) {
    cancel_with("Unable to download remote finished transcode");
    fileops_write_status();
    return;
  }
  item_active_download_in_action = this;
}

// A document is rebuilt into an item once, when it has come, not at every turn: over many monitored
// jobs that would take a share of a processor that can be noticed. One that cannot be read counts
// as an item with its defaults.
void QueueItem::read_remote_view() {
  if (remote_view.is_read) { return; }
  QueueItem remote_item;
  remote_item.deserialize_json(remote_info.json, false);
  remote_view = {true, remote_item.paused, remote_item.sm.state};
}

// Compares what the user wants with what the server last said, and asks again when it is time.
void QueueItem::monitor_remote() {
  read_remote_view();
  const char* command = nullptr;
  if (user_wants_pause && !remote_view.paused) {
    command = "pause";
  } else if (!user_wants_pause && remote_view.paused) {
    command = "resume";
  } else if (user_wants_cancel && remote_view.state != TRANSCODE_CANCELLED &&
             remote_view.state != TRANSCODE_CANCELLING) {
    command = "cancel";
  }
  if (command != nullptr) {
    sm.remote.set_state(REMOTE_COMMAND);
    sm.remote_command = command;
    return;
  }
  std::uint64_t const now = monotonic_clock_us();
  if (now >= next_remote_poll) {
    next_remote_poll = now + remote_poll_us + random_spread_us();
    proc_start_remote_transcode_monitor();
  }
}

void QueueItem::start_command() {
  std::uint64_t const now = monotonic_clock_us();
  if (now >= next_remote_poll) {
    next_remote_poll = now + remote_poll_us;
    proc_start_remote_transcode_command();
  }
}
