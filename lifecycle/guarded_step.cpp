#include "lifecycle/guarded_step.h"

#include "exec/child_pump.h"
#include "platform/out_of_memory.h"
#include "queue/slots.h"
#include "rules/texts.h"

namespace {

using machines = QueueItem::transcode_state_machine;

bool is_same(const machines& a, const machines& b) {
  return a.state == b.state && a.ready.state == b.ready.state &&
         a.thumbnail.state == b.thumbnail.state && a.cleanup.state == b.cleanup.state &&
         a.remote.state == b.remote.state;
}

// A request for the state of a job on the server, which will be made again.
bool is_poll(const machines& before) {
  return before.state == TRANSCODE_REMOTE && before.remote.state == REMOTE_MONITOR;
}

void end_child(QueueItem& item, const machines& before) {
  const bool is_evaluated = !is_same(item.sm, before) || is_poll(before);
  forget_child(item);
  item_in_action_remove_self(&item);
  if (!is_evaluated) { item.cancel(); }
  // A cancel sets its text last, so that the text may be missing.
  if (item.sm.state == TRANSCODE_CANCELLING || item.sm.state == TRANSCODE_CANCELLED) {
    item.state_message = text_out_of_memory;
    tell_out_of_memory("a job was cancelled, because the end of its tool could not be evaluated");
  }
}

void undo(QueueItem& item, const machines& before) {
  item.close_proc_stdin();
  item.close_proc_stdout();
  item.proc_argv.clear();
  item_in_action_remove_self(&item);
  item.sm = before;
}

}  // namespace

void end_unfinished_step(QueueItem& item, const step_start& start) {
  tell_out_of_memory("a step of a job was not finished");
  if (item.proc_reaped) {
    end_child(item, start.sm);
  } else if (item.proc_pid == -1 && !start.has_child) {
    undo(item, start.sm);
  }
}
