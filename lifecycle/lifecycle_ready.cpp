// The "ready" phase of a job, one small step a turn: check meta, query profiles, ready to
// transcode.
#include "platform/clock.h"
#include "platform/sliding_window_v4.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "queue/slots.h"
#include "rules/texts.h"

namespace {

// A step that runs one at a time may start when nobody else holds its slot, and not while the
// machine is still coming up.
bool must_wait(const QueueItem* slot, const QueueItem* item) {
  return uptime_wait || (slot != nullptr && slot != item);
}

// A line that is longer than the buffer never completes, so a full buffer is the end of the step.
bool is_overrun(const QueueItem& item) {
  const sliding_window_v4* const buffer = item.proc_stdout_buffer;
  if (buffer == nullptr || sliding_window_v4_can_write(buffer) != 0) { return false; }
  return item.proc_stdout_read_fd != -1 ? item.proc_stdout_seen
                                        : sliding_window_v4_data_available(buffer) != 0;
}

// A listing that was known already leads here without an output: of a restarted job whose first
// listing found no name for one, or of a job out of the queue file. The validation makes up a name;
// where it cannot, its text says why.
bool finds_output(QueueItem& item) {
  if (item.validate_ready() == 0) { return false; }
  if (item.output_file.empty()) {  // a name too long for any path counts as none asked for
    item.state_message = text_output_invalid;
    return false;
  }
  return true;
}

}  // namespace

// True when a step was started or advanced.
bool QueueItem::idle_ready() {
  if (is_running()) {
    if (is_overrun(*this)) {
      cancel_with(text_listing_too_long);
      fileops_write_status();
    }
    return false;
  }
  switch (sm.ready.state) {
  case READY_INIT:
    identifications = 0;
    next_identification = 0;
    sm.ready.set_state(READY_CHECK_META);
    return true;
  case READY_CHECK_META:
    return start_check_meta();
  case READY_QUERY_PROFILES:
    return start_query_profiles();
  case READY_READY_TO_TRANSCODE:
    wait_for_start();
    return false;
  default:
    return fail_ready("bug: unknown ready state");
  }
}

bool QueueItem::start_check_meta() {
  if (must_wait(item_metadata_ident_in_action, this) ||
      monotonic_clock_us() < next_identification) {
    return false;
  }
  if (!ready_start_check_meta()) { return fail_ready(text_metadata_unreadable); }
  if (proc_pid != -1) { item_metadata_ident_in_action = this; }
  return true;
}

bool QueueItem::start_query_profiles() {
  if (must_wait(item_query_profiles_in_action, this)) { return false; }
  if (!ready_start_query_profiles()) { return fail_ready("unable to list profiles"); }
  if (proc_pid != -1) { item_query_profiles_in_action = this; }
  return true;
}

bool QueueItem::fail_ready(const char* text) {
  if (DIE == 0) {  // a step refused because of the shutdown has not failed
    cancel_with(text);
    fileops_write_status();
  }
  return true;
}

// The scheduler starts the transcode; here only what would keep it waiting for ever is caught.
void QueueItem::wait_for_start() {
  if (quoted_profile.empty()) {
    fail_ready("no profiles listed");
  } else if (transcode_profile.empty()) {
    fail_ready("no profile chosen, ready to transcode state");
  } else if (output_file.empty() && !finds_output(*this)) {
    fail_ready(std::string(state_message).c_str());
  }
}
