// The "thumbnail" phase of a job: picture, metadata of the output, ready marker.
#include "exec/fail.h"
#include "lifecycle/phases.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"

namespace {

void start_thumbnail(QueueItem& item) {
  item.state_message = "Generating thumbnail";
  if (!item.proc_start_gen_thumbnail() &&
      DIE == 0) {  // a step refused because of a shutdown has not failed
    fail_start(item, "unable to generate thumbanil");
  }
  item.fileops_write_status();
}

void start_vod_metadata(QueueItem& item) {
  item.state_message = "Generating metadata for VOD";
  if (!item.proc_start_metagen_thumbnail() && !item.source_silent) {
    item.cancel_with("unable to generate metadata");
  }
  item.fileops_write_status();
}

void finish_vod(QueueItem& item) {
  if (!item.vod_copy_from_source() || !item.mark_vod_ready()) {
    fail_start(item, "Failed to mark VOD as done");
    return;
  }
  item.input_meta.close();
  if (item.sm.state > TRANSCODE_CLEANUP) {
    fail(item, "Cleanup begin failure");
    return;
  }
  if (item.sm.state < TRANSCODE_CLEANUP) {
    item.sm.set_state(TRANSCODE_CLEANUP);
    item.sm.cleanup.set_state(CLEANUP_INIT);
  }
  item.state_message = "Cleaning up...";
  item.fileops_write_status();
}

}  // namespace

void idle_thumbnail(QueueItem& item) {
  if (item.is_running()) { return; }
  switch (item.sm.thumbnail.state) {
  case THUMBNAIL_INIT:
    item.sm.thumbnail.set_state(THUMBNAIL_GEN);
    start_thumbnail(item);
    break;
  case THUMBNAIL_GEN:
    start_thumbnail(item);
    break;
  case THUMBNAIL_METADATA_GEN:
    start_vod_metadata(item);
    break;
  case THUMBNAIL_DONE:
    finish_vod(item);
    break;
  default:
    item.fileops_write_status();
    break;
  }
}
