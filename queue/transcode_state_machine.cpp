// The main state machine: only the sub-machine of its current state is valid.
#include "queue/queue_item.h"

namespace {

void leave(QueueItem::transcode_state_machine& sm, transcode_states s) {
  switch (s) {
  case TRANSCODE_READY:
    sm.ready.initialized = false;
    break;
  case TRANSCODE_REMOTE:
    sm.remote.initialized = false;
    break;
  case TRANSCODE_THUMBNAIL:
    sm.thumbnail.initialized = false;
    break;
  case TRANSCODE_CLEANUP:
    sm.cleanup.initialized = false;
    break;
  default:
    break;
  }
}

void enter(QueueItem::transcode_state_machine& sm, transcode_states s) {
  switch (s) {
  case TRANSCODE_READY:
    sm.ready.init();
    break;
  case TRANSCODE_REMOTE:
    sm.remote.init();
    break;
  case TRANSCODE_THUMBNAIL:
    sm.thumbnail.init();
    break;
  case TRANSCODE_CLEANUP:
    sm.cleanup.init();
    break;
  default:
    break;
  }
}

}  // namespace

transcode_states QueueItem::transcode_state_machine::do_set_state(transcode_states s) {
  require_initialized();
  const transcode_states old_state = state;
  state = s;
  leave(*this, old_state);
  enter(*this, s);
  return s;
}
