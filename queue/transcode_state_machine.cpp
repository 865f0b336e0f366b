// The master state machine: keeps exactly the sub-machine of its state valid.
#include "queue/queue_item.h"

transcode_states QueueItem::transcode_state_machine::do_set_state(transcode_states s) {
  require_initialized();
  const transcode_states old_state = state;
  state = s;
  leave(old_state);
  enter(s);
  return s;
}

void QueueItem::transcode_state_machine::leave(transcode_states s) {
  switch (s) {
  case TRANSCODE_READY:
    ready.initialized = false;
    break;
  case TRANSCODE_REMOTE:
    remote.initialized = false;
    break;
  case TRANSCODE_THUMBNAIL:
    thumbnail.initialized = false;
    break;
  case TRANSCODE_CLEANUP:
    cleanup.initialized = false;
    break;
  default:
    break;
  }
}

void QueueItem::transcode_state_machine::enter(transcode_states s) {
  switch (s) {
  case TRANSCODE_READY:
    ready.init();
    break;
  case TRANSCODE_REMOTE:
    remote.init();
    break;
  case TRANSCODE_THUMBNAIL:
    thumbnail.init();
    break;
  case TRANSCODE_CLEANUP:
    cleanup.init();
    break;
  default:
    break;
  }
}
