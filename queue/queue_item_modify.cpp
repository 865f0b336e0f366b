// Which field of a job a client may change in which state, and what the change does.
#include <cstdlib>
#include <cstring>

#include "queue/queue_item.h"
#include "queue/queue_text_size.h"
#include "rules/json_keys.h"
#include "rules/texts.h"
#include "service/process_state.h"

namespace {

// Numbers count as true above 0; a text without digits reads as 0.
bool is_on(const char* value) {
  return strtol(value, nullptr, 10) > 0;
}

}  // namespace

bool QueueItem::modify(const char* name, const char* value) {
  if (strcmp(name, key_input_file) == 0) {
    // A value that the queue file has no room for is refused like any other: no source is left.
    const bool has_room = has_room_in_queue_text(*this, input_file.c_str(), value);
    return sm.state == TRANSCODE_INIT && set_input_file(has_room ? value : "");
  }
  if (strcmp(name, key_paused) == 0) { return modify_paused(is_on(value)); }
  if (strcmp(name, key_profile) == 0) { return modify_profile(value); }
  if (strcmp(name, key_state) == 0) { return modify_state(value); }
  if (strcmp(name, key_delete_on_finish) == 0) { return modify_delete_on_finish(is_on(value)); }
  return false;
}

bool QueueItem::modify_paused(bool on) {
  if (sm.state == TRANSCODE_INIT) {
    paused = on;
  } else if (on) {
    pause();
  } else if (resume()) {
    trigger_transcode_queue_scan();
  }
  fileops_write_status();
  return true;
}

bool QueueItem::modify_profile(const char* value) {
  if (sm.state > TRANSCODE_READY ||
      !has_room_in_queue_text(*this, transcode_profile.c_str(), value)) {
    return false;
  }
  transcode_profile = value;
  fileops_write_status();
  return true;
}

bool QueueItem::modify_delete_on_finish(bool on) {
  if (sm.state >= TRANSCODE_CLEANUP) { return false; }
  delete_on_finish = on;
  return true;
}

bool QueueItem::modify_state(const char* value) {
  const transcode_states target = sm.state_by_name(value);
  if (target == sm.state) { return true; }
  switch (sm.state) {
  case TRANSCODE_INIT:
  case TRANSCODE_CANCELLED:
    return target == TRANSCODE_READY && do_user_ready();
  case TRANSCODE_READY:
  case TRANSCODE_TRANSCODING:
  case TRANSCODE_THUMBNAIL:
    if (target != TRANSCODE_CANCELLED) { return false; }
    cancel_with(text_cancelled);
    fileops_write_status();
    return true;
  default:
    return false;
  }
}
