// Judges the end of a job's child. What the child was for stands in proc_sm: the live state may
// have moved on meanwhile (a cancel, a pause), and what ends after that is only logged.
#include <cstdio>

#include "platform/sliding_window_v4.h"
#include "platform/wait_status.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "queue/slots.h"
#include "rules/texts.h"
#include "rules/transcoder_contract.h"

void QueueItem::on_proc_terminate(int wait_status) {
  fprintf(stderr, "Queue item '%s' process terminated (status=0x%x)\n", entry_id.c_str(),
          static_cast<unsigned>(wait_status));
  item_in_action_remove_self(this);
  if (DIE != 0) {
    return;  // the step is repeated when the service starts again
  }
  const bool ok = has_succeeded(wait_status);
  switch (proc_sm.state) {
  case TRANSCODE_READY:
    if (proc_sm.ready.state == READY_CHECK_META) {
      on_identify_terminate(ok);
    } else if (proc_sm.ready.state == READY_QUERY_PROFILES) {
      on_listing_terminate(ok);
    }
    break;
  case TRANSCODE_REMOTE:
    on_remote_proc_terminate(wait_status);
    break;
  case TRANSCODE_TRANSCODING:
    on_transcode_terminate(ok);
    break;
  case TRANSCODE_THUMBNAIL:
    on_thumbnail_terminate(ok);
    break;
  case TRANSCODE_CLEANUP:
    on_cleanup_terminate(ok);
    break;
  default:
    break;
  }
}

// Success needs nothing: the metadata is looked at again in a later turn, and found. The count
// determines how long to wait when it is not.
void QueueItem::on_identify_terminate(bool ok) {
  if (ok) {
    ++identifications;
  } else if (sm.state == TRANSCODE_READY) {
    cancel_with(text_not_identified);
    fileops_write_status();
  }
}

void QueueItem::on_listing_terminate(bool ok) {
  const bool is_live = sm.state == TRANSCODE_READY;
  if (!ok) {
    if (is_live) {
      cancel_with(text_listing_failed);
      fileops_write_status();
    }
    return;
  }
  read_quoted_profiles();
  if (!quoted_profile.empty() && !transcode_profile.empty() && !output_file.empty()) {
    if (is_live && sm.ready.state < READY_READY_TO_TRANSCODE) { sm.ready.advance(); }
    trigger_transcode_queue_scan();
    fileops_write_status();
  } else if (is_live) {
    cancel_with(text_nothing_listed);
    fileops_write_status();
  }
}

void QueueItem::read_quoted_profiles() {
  listing_reader reader;
  if (sliding_window_v4_is_sane(proc_stdout_buffer)) {
    while (const char* line = proc_stdout_getline()) {
      reader.take_line(line);
    }
  }
  quoted_profile = reader.profiles();
  if (transcode_profile.empty() && !quoted_profile.empty()) { auto_choose_transcode_profile(); }
  if (!transcode_profile.empty() && output_file.empty()) {
    set_output_file(pick_output_file_name_from_input().c_str());
  }
}

void QueueItem::on_transcode_terminate(bool ok) {
  if (sm.state == TRANSCODE_TRANSCODING) {
    if (ok) {
      sm.set_state(TRANSCODE_THUMBNAIL);
      sm.thumbnail.set_state(THUMBNAIL_INIT);
      progress = progress_complete;
      state_message = "Transcode OK";
    } else {
      cancel_with(text_transcoding_failed);
    }
    fileops_write_status();
  }
  trigger_transcode_queue_scan();
}

// The by-products are optional: a failure is told and the job goes on.
void QueueItem::on_thumbnail_terminate(bool ok) {
  if (sm.state != TRANSCODE_THUMBNAIL) { return; }
  if (sm.thumbnail.state == THUMBNAIL_GEN) {
    state_message = ok ? "Thumbnail done" : "Unable to gen thumbnail. Done";
    sm.thumbnail.set_state(THUMBNAIL_METADATA_GEN);
    fileops_write_status();
  } else if (sm.thumbnail.state == THUMBNAIL_METADATA_GEN) {
    if (!ok) { state_message = "Unable to gen vod meta. Done"; }
    sm.thumbnail.set_state(THUMBNAIL_DONE);
    fileops_write_status();
  }
}

// The step named "unlink file" removes the source's metadata and "unlink meta" the file itself; the
// texts follow what was removed.
void QueueItem::on_cleanup_terminate(bool ok) {
  if (sm.state != TRANSCODE_CLEANUP) { return; }
  if (sm.cleanup.state == CLEANUP_UNLINK_FILE) {
    if (ok) {
      sm.cleanup.set_state(CLEANUP_UNLINK_META);
    } else {
      cancel_with("Unable to remove metadata");
    }
    fileops_write_status();
  } else if (sm.cleanup.state == CLEANUP_UNLINK_META) {
    if (ok) {
      sm.cleanup.set_state(CLEANUP_DONE);
    } else {
      cancel_with("Unable to remove file");
    }
    fileops_write_status();
  }
}
