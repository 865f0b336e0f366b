// The "thumbnail" phase of a job: picture, metadata of the output, ready marker.
#include "queue/process_state.h"
#include "queue/queue_item.h"

void QueueItem::idle_thumbnail() {
  if (is_running()) { return; }
  switch (sm.thumbnail.state) {
  case THUMBNAIL_INIT:
    sm.thumbnail.set_state(THUMBNAIL_GEN);
    start_thumbnail();
    break;
  case THUMBNAIL_GEN:
    start_thumbnail();
    break;
  case THUMBNAIL_METADATA_GEN:
    start_vod_metadata();
    break;
  case THUMBNAIL_DONE:
    finish_vod();
    break;
  default:
    fileops_write_status();
    break;
  }
}

void QueueItem::start_thumbnail() {
  state_message = "Generating thumbnail";
  if (!proc_start_gen_thumbnail() && DIE == 0) {  // refused for the shutdown is not failed
    cancel_with("unable to generate thumbanil");
    fileops_write_status();
  }
  fileops_write_status();
}

void QueueItem::start_vod_metadata() {
  state_message = "Generating metadata for VOD";
  if (!proc_start_metagen_thumbnail()) { cancel_with("unable to generate metadata"); }
  fileops_write_status();
}

void QueueItem::finish_vod() {
  if (!vod_copy_from_source() || !mark_vod_ready()) {
    cancel_with("Failed to mark VOD as done");
    fileops_write_status();
    return;
  }
  input_meta.close();
  if (sm.state > TRANSCODE_CLEANUP) {
    cancel_with("Cleanup begin failure");
    fileops_write_status();
    return;
  }
  if (sm.state < TRANSCODE_CLEANUP) {
    sm.set_state(TRANSCODE_CLEANUP);
    sm.cleanup.set_state(CLEANUP_INIT);
  }
  state_message = "Cleaning up...";
  fileops_write_status();
}
