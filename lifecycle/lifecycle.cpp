// One turn of an item: the pump first, then the step that its state requires.
#include "exec/child_pump.h"
#include "exec/item_control.h"
#include "exec/source_view.h"
#include "exec/stuck_child.h"
#include "lifecycle/guarded_step.h"
#include "lifecycle/phases.h"
#include "lifecycle/restart.h"
#include "platform/clock.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "remote/lifecycle_remote.h"

namespace {

// Between two looks at a source that does not answer, the job costs nothing.
bool waits_for_source(const QueueItem& item) {
  return item.source_silent && !item.is_running() && monotonic_clock_us() < item.next_source_look;
}

// True if the main loop should run again at once.
bool start_next_step(QueueItem& item) {
  const shared_look one_look;
  check_unseen_source(item);
  switch (item.sm.state) {
  case TRANSCODE_READY:
    return idle_ready(item);
  case TRANSCODE_REMOTE:
    idle_remote(item);
    return false;
  case TRANSCODE_TRANSCODING:
    idle_transcoding(item);
    return false;
  case TRANSCODE_THUMBNAIL:
    idle_thumbnail(item);
    return false;
  case TRANSCODE_CLEANUP:
    idle_cleanup(item);
    return false;
  default:
    return false;
  }
}

}  // namespace

bool QueueItem::idle_process() {
  const pump_result pumped = pump_child(*this);
  if (pumped.child_ended) {
    on_proc_terminate(proc_status);
    forget_child(*this);
  }
  end_stuck_child(*this);
  finish_pending_cancel(*this);
  return pumped.active;
}

bool QueueItem::idle() {
  const bool active = run_step(*this, [this] { return idle_process(); });
  if (DIE != 0 || waits_for_source(*this)) { return active; }
  return run_step(*this, [this] { return start_next_step(*this); }) || active;
}
