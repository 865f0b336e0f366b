// Which fields of an item a client may change in which state, and the effect of each change.
#include <cstdlib>
#include <cstring>

#include "exec/fail.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "queue/queue_text_size.h"
#include "rules/json_keys.h"
#include "rules/texts.h"

namespace {

// A number above 0 is true; a text without digits is 0.
bool is_on(const char* value) {
  return strtol(value, nullptr, 10) > 0;
}

bool modify_paused(QueueItem& item, bool on) {
  if (item.sm.state == TRANSCODE_INIT) {
    item.paused = on;
  } else if (on) {
    item.pause();
  } else if (item.resume()) {
    trigger_transcode_queue_scan();
  }
  item.fileops_write_status();
  return true;
}

bool modify_profile(QueueItem& item, const char* value) {
  if (item.sm.state > TRANSCODE_READY ||
      !has_room_in_queue_text(item, item.transcode_profile.c_str(), value)) {
    return false;
  }
  item.transcode_profile = value;
  item.fileops_write_status();
  return true;
}

bool modify_delete_on_finish(QueueItem& item, bool on) {
  if (item.sm.state >= TRANSCODE_CLEANUP) { return false; }
  item.delete_on_finish = on;
  return true;
}

bool modify_state(QueueItem& item, const char* value) {
  const transcode_states target = item.sm.state_by_name(value);
  if (target == item.sm.state) { return true; }
  switch (item.sm.state) {
  case TRANSCODE_INIT:
  case TRANSCODE_CANCELLED:
    return target == TRANSCODE_READY && item.do_user_ready();
  case TRANSCODE_READY:
  case TRANSCODE_TRANSCODING:
  case TRANSCODE_THUMBNAIL:
    if (target != TRANSCODE_CANCELLED) { return false; }
    fail(item, text_cancelled);
    return true;
  default:
    return false;
  }
}

}  // namespace

bool QueueItem::modify(const char* name, const char* value) {
  if (strcmp(name, key_input_file) == 0) {
    // A value for which the queue file has no room is refused like any other, which leaves no
    // source.
    const bool has_room = has_room_in_queue_text(*this, input_file.c_str(), value);
    return sm.state == TRANSCODE_INIT && set_input_file(has_room ? value : "");
  }
  if (strcmp(name, key_paused) == 0) { return modify_paused(*this, is_on(value)); }
  if (strcmp(name, key_profile) == 0) { return modify_profile(*this, value); }
  if (strcmp(name, key_state) == 0) { return modify_state(*this, value); }
  if (strcmp(name, key_delete_on_finish) == 0) {
    return modify_delete_on_finish(*this, is_on(value));
  }
  return false;
}
