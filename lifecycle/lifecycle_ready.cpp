// The "ready" phase of a job, one small step a turn: check meta, query profiles, ready to
// transcode.
#include "exec/fail.h"
#include "lifecycle/phases.h"
#include "platform/clock.h"
#include "platform/sliding_window_v4.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "queue/slots.h"
#include "rules/texts.h"

namespace {

// A one-at-a-time step may start if no other item holds its slot, but not while the machine is
// still booting.
bool must_wait(const QueueItem* slot, const QueueItem* item) {
  return uptime_wait || (slot != nullptr && slot != item);
}

// A line longer than the buffer can never be complete, so a full buffer ends the step.
bool is_overrun(const QueueItem& item) {
  const sliding_window_v4* const buffer = item.proc_stdout_buffer;
  if (buffer == nullptr || sliding_window_v4_can_write(buffer) != 0) { return false; }
  return item.proc_stdout_read_fd != -1 ? item.proc_stdout_seen
                                        : sliding_window_v4_data_available(buffer) != 0;
}

// An item whose profiles were already known may get here without an output: one that was restarted
// after its first listing found no name, or one from the queue file. The validation makes up a
// name; if it cannot, its text says why.
bool finds_output(QueueItem& item) {
  if (item.validate_ready() == 0) { return false; }
  if (item.output_file.empty()) {  // if a name would be too long for a path, the output stays empty
    item.state_message = text_output_invalid;
    return false;
  }
  return true;
}

bool fail_ready(QueueItem& item, const char* text) {
  if (DIE == 0) {  // a step refused because of a shutdown has not failed
    fail(item, text);
  }
  return true;
}

// A job that became ready while its source did not answer is validated when it does, and so is one
// whose source has fallen silent since. True if the next step may be taken.
bool has_source(QueueItem& item) {
  if (!item.source_silent) { return true; }
  if (item.validate_ready() == 0) {
    if (!item.source_silent) { fail_ready(item, std::string(item.state_message).c_str()); }
    return false;
  }
  if (item.state_message == text_source_silent) {
    item.state_message = item.text_before_silence;
    item.fileops_write_status();
  }
  trigger_transcode_queue_scan();
  return true;
}

bool start_check_meta(QueueItem& item) {
  if (must_wait(item_metadata_ident_in_action, &item) ||
      monotonic_clock_us() < item.next_identification) {
    return false;
  }
  if (!item.ready_start_check_meta()) { return fail_ready(item, text_metadata_unreadable); }
  if (item.proc_pid != -1) { item_metadata_ident_in_action = &item; }
  return true;
}

bool start_query_profiles(QueueItem& item) {
  if (must_wait(item_query_profiles_in_action, &item)) { return false; }
  if (!item.ready_start_query_profiles()) { return fail_ready(item, "unable to list profiles"); }
  if (item.proc_pid != -1) { item_query_profiles_in_action = &item; }
  return true;
}

// The scheduler starts the transcode; this only catches items that would wait for it forever.
void wait_for_start(QueueItem& item) {
  if (item.quoted_profile.empty()) {
    fail_ready(item, "no profiles listed");
  } else if (item.transcode_profile.empty()) {
    fail_ready(item, "no profile chosen, ready to transcode state");
  } else if (item.output_file.empty() && !finds_output(item) && !item.source_silent) {
    fail_ready(item, std::string(item.state_message).c_str());
  }
}

}  // namespace

// True if a step was started or completed.
bool idle_ready(QueueItem& item) {
  if (item.is_running()) {
    if (is_overrun(item)) { fail(item, text_listing_too_long); }
    return false;
  }
  if (!has_source(item)) { return false; }
  switch (item.sm.ready.state) {
  case READY_INIT:
    item.identifications = 0;
    item.next_identification = 0;
    item.sm.ready.set_state(READY_CHECK_META);
    return true;
  case READY_CHECK_META:
    return start_check_meta(item);
  case READY_QUERY_PROFILES:
    return start_query_profiles(item);
  case READY_READY_TO_TRANSCODE:
    wait_for_start(item);
    return false;
  default:
    return fail_ready(item, "bug: unknown ready state");
  }
}
