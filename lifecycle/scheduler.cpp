// Queue order is the only priority: the first eligible item wins.
#include "lifecycle/scheduler.h"

#include <algorithm>
#include <cassert>
#include <csignal>
#include <cstdio>
#include <vector>

#include "exec/held_signal.h"
#include "exec/source_view.h"
#include "lifecycle/guarded_step.h"
#include "platform/clock.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "queue/slots.h"
#include "queue/transcode_queue.h"
#include "rules/texts.h"

namespace {

constexpr std::uint64_t scan_period_us = 5000000;

// For all looks of a pass at sources on file systems that answer: clients wait meanwhile.
constexpr std::uint64_t longest_looking_us = 25000;

// Result of a scan: the first item of each kind.
struct scan_result {
  QueueItem* active = nullptr;     // a running transcode
  QueueItem* waiting = nullptr;    // a resumed transcode that is waiting for the slot
  QueueItem* candidate = nullptr;  // a ready item whose transcode may start
};

// The items that were not at rest after the last pass, in queue order.
std::vector<QueueItem*> busy_items;

// Whether turns would do nothing for the item until somebody else changes it. A null element is not
// at rest: it is reported until the scan removes it.
bool is_at_rest(const QueueItem* item) {
  if (item == nullptr || item->is_running()) { return false; }
  switch (item->sm.state) {
  case TRANSCODE_INIT:
  case TRANSCODE_CANCELLED:
  case TRANSCODE_DONE:
  case TRANSCODE_CLEARED:
    return true;
  case TRANSCODE_READY:
    return item->sm.ready.state == READY_READY_TO_TRANSCODE && !item->quoted_profile.empty() &&
           !item->transcode_profile.empty() && !item->output_file.empty() && !item->source_silent;
  default:
    return false;
  }
}

// Every item has its turn when a command or a scan may have changed it, and whenever a scan is due;
// otherwise only the busy ones, so that a long queue at rest costs no processor time.
bool give_turns(bool is_scan_due) {
  if (all_turns_due || is_scan_due) {
    busy_items.assign(transcode_queue.begin(), transcode_queue.end());
    all_turns_due = false;
  }
  const look_budget budget(longest_looking_us);
  bool active = false;
  for (QueueItem* item : busy_items) {
    if (item == nullptr) {
      fputs(null_item_warning, stderr);
    } else if (item->idle()) {
      active = true;
    }
  }
  busy_items.erase(std::remove_if(busy_items.begin(), busy_items.end(), is_at_rest),
                   busy_items.end());
  return active;
}

bool is_start_candidate(const QueueItem& item) {
  return !item.transcode_profile.empty() && !item.quoted_profile.empty() &&
         !item.output_file.empty() && !item.input_file.empty() &&
         (item_active_transcode_in_action == nullptr || item_active_transcode_in_action == &item) &&
         item.sm.ready.state == READY_READY_TO_TRANSCODE && item.approved && !item.paused &&
         !item.is_running() && !item.source_silent;
}

bool is_to_be_removed(const QueueItem& item) {
  switch (item.sm.state) {
  case TRANSCODE_INIT:
    return monotonic_clock_us() >= item.init_deadline;
  case TRANSCODE_CLEARED:
    return !item.is_running();
  default:
    return false;
  }
}

void keep_first(QueueItem*& kept, QueueItem& item) {
  if (kept == nullptr) { kept = &item; }
}

void look_at(QueueItem& item, scan_result& found) {
  if (item.sm.state == TRANSCODE_READY && is_start_candidate(item)) {
    keep_first(found.candidate, item);
  } else if (item.sm.state == TRANSCODE_TRANSCODING && !item.paused) {
    keep_first(item.waiting ? found.waiting : found.active, item);
  }
}

void remove(QueueItem* item) {
  fprintf(stderr, "Item '%s' should terminate\n", item->entry_id.c_str());
  delete item;
  ++transcode_queue_mod_count;
}

scan_result scan_queue() {
  scan_result found;
  for (auto i = transcode_queue.begin(); i != transcode_queue.end();) {
    QueueItem* const item = *i;
    if (item == nullptr) {
      fprintf(stderr, "Item == NULL removing\n");
      i = transcode_queue.erase(i);
    } else if (is_to_be_removed(*item)) {
      remove(item);
      i = transcode_queue.erase(i);
    } else {
      look_at(*item, found);
      ++i;
    }
  }
  return found;
}

void cancel_and_report(QueueItem& item, const char* text) {
  item.state_message = text;
  item.cancel();
  item.fileops_write_status();
}

void resume_transcode(QueueItem* item) {
  assert(item != __null);  // NOLINT(modernize-use-nullptr): operators know this text from the logs
  if (item->sm.state != TRANSCODE_TRANSCODING) {
    cancel_and_report(*item, "bug: wrong state, not transcoding");
  } else if (!item->is_running()) {
    cancel_and_report(*item, "Cannot resume, process not running");
  } else if (item->paused) {
    cancel_and_report(*item, "Cannot resume a paused item");
  } else if (item->waiting) {
    fprintf(stderr, "Item '%s' resuming transcode\n", item->entry_id.c_str());
    item_active_transcode_in_action = item;
    item->state_message = text_transcoding;
    tell_transcoder(*item, SIGUSR2);
    item->waiting = false;
    item->fileops_write_status();
  }
}

void start_transcode(QueueItem* item) {
  assert(item != __null);  // NOLINT(modernize-use-nullptr): operators know this text from the logs
  if (uptime_wait) { return; }
  run_step(*item, [item] {
    if (item->do_queue_start_transcode()) { return true; }
    if (item->source_silent) {
      trigger_transcode_queue_scan();  // the next one's turn
      trigger_early_turn();            // many may wait for the same file system
      return false;
    }
    item->cancel();
    item->fileops_write_status();
    return false;
  });
}

}  // namespace

bool idle_transcode_queue() {
  std::uint64_t const now = monotonic_clock_us();
  if (give_turns(now >= next_queue_scan)) { return true; }
  if (now < next_queue_scan) { return false; }
  next_queue_scan = now + scan_period_us;
  trigger_all_turns();
  if (transcode_queue.empty()) {
    item_active_transcode_in_action = nullptr;
    return false;
  }
  const scan_result found = scan_queue();
  item_active_transcode_in_action = found.active;
  if (found.active == nullptr && found.waiting != nullptr) {
    resume_transcode(found.waiting);
    return false;
  }
  if (found.candidate != nullptr) { start_transcode(found.candidate); }
  return false;
}
