// Evaluates the end of an item's child. proc_sm records the child's purpose, because the item's
// state may have changed since (a cancel, a pause); the end of an outdated step is only logged.
#include <cstdio>

#include "exec/fail.h"
#include "platform/sliding_window_v4.h"
#include "platform/wait_status.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "queue/slots.h"
#include "remote/lifecycle_remote.h"
#include "rules/texts.h"
#include "rules/transcoder_contract.h"

namespace {

// Success needs no action: a later turn reads the metadata again and finds it. The count determines
// how long to wait if it does not.
void on_identify_terminate(QueueItem& item, bool ok) {
  if (ok) {
    ++item.identifications;
  } else if (item.sm.state == TRANSCODE_READY) {
    fail(item, text_not_identified);
  }
}

// Takes the list, and chooses profile and output where none is set.
void read_quoted_profiles(QueueItem& item) {
  listing_reader reader;
  if (sliding_window_v4_is_sane(item.proc_stdout_buffer)) {
    while (const char* line = item.proc_stdout_getline()) {
      reader.take_line(line);
    }
  }
  item.quoted_profile = reader.profiles();
  if (item.transcode_profile.empty() && !item.quoted_profile.empty()) {
    item.auto_choose_transcode_profile();
  }
  if (!item.transcode_profile.empty() && item.output_file.empty()) {
    item.set_output_file(item.pick_output_file_name_from_input().c_str());
  }
}

void on_listing_terminate(QueueItem& item, bool ok) {
  const bool is_live = item.sm.state == TRANSCODE_READY;
  if (!ok) {
    if (is_live) { fail(item, text_listing_failed); }
    return;
  }
  read_quoted_profiles(item);
  if (!item.quoted_profile.empty() && !item.transcode_profile.empty() &&
      !item.output_file.empty()) {
    if (is_live && item.sm.ready.state < READY_READY_TO_TRANSCODE) { item.sm.ready.advance(); }
    trigger_transcode_queue_scan();
    item.fileops_write_status();
  } else if (is_live) {
    fail(item, text_nothing_listed);
  }
}

void on_transcode_terminate(QueueItem& item, bool ok) {
  if (item.sm.state == TRANSCODE_TRANSCODING) {
    if (ok) {
      item.sm.set_state(TRANSCODE_THUMBNAIL);
      item.sm.thumbnail.set_state(THUMBNAIL_INIT);
      item.progress = progress_complete;
      item.state_message = "Transcode OK";
    } else {
      item.cancel_with(text_transcoding_failed);
    }
    item.fileops_write_status();
  }
  trigger_transcode_queue_scan();
}

// The by-products are optional: a failure is reported and the job continues.
void on_thumbnail_terminate(QueueItem& item, bool ok) {
  if (item.sm.state != TRANSCODE_THUMBNAIL) { return; }
  if (item.sm.thumbnail.state == THUMBNAIL_GEN) {
    item.state_message = ok ? "Thumbnail done" : "Unable to gen thumbnail. Done";
    item.sm.thumbnail.set_state(THUMBNAIL_METADATA_GEN);
    item.fileops_write_status();
  } else if (item.sm.thumbnail.state == THUMBNAIL_METADATA_GEN) {
    if (!ok) { item.state_message = "Unable to gen vod meta. Done"; }
    item.sm.thumbnail.set_state(THUMBNAIL_DONE);
    item.fileops_write_status();
  }
}

// The step named "unlink file" removes the source's metadata and "unlink meta" the file itself; the
// texts name what was actually removed.
void on_cleanup_terminate(QueueItem& item, bool ok) {
  if (item.sm.state != TRANSCODE_CLEANUP) { return; }
  if (item.sm.cleanup.state == CLEANUP_UNLINK_FILE) {
    if (ok) {
      item.sm.cleanup.set_state(CLEANUP_UNLINK_META);
    } else {
      item.cancel_with("Unable to remove metadata");
    }
    item.fileops_write_status();
  } else if (item.sm.cleanup.state == CLEANUP_UNLINK_META) {
    if (ok) {
      item.sm.cleanup.set_state(CLEANUP_DONE);
    } else {
      item.cancel_with("Unable to remove file");
    }
    item.fileops_write_status();
  }
}

}  // namespace

void QueueItem::on_proc_terminate(int wait_status) {
  fprintf(stderr, "Queue item '%s' process terminated (status=0x%x)\n", entry_id.c_str(),
          static_cast<unsigned>(wait_status));
  item_in_action_remove_self(this);
  if (DIE != 0) {
    return;  // the step will be repeated when the service starts again
  }
  const bool ok = has_succeeded(wait_status);
  switch (proc_sm.state) {
  case TRANSCODE_READY:
    if (proc_sm.ready.state == READY_CHECK_META) {
      on_identify_terminate(*this, ok);
    } else if (proc_sm.ready.state == READY_QUERY_PROFILES) {
      on_listing_terminate(*this, ok);
    }
    break;
  case TRANSCODE_REMOTE:
    on_remote_proc_terminate(*this, wait_status);
    break;
  case TRANSCODE_TRANSCODING:
    on_transcode_terminate(*this, ok);
    break;
  case TRANSCODE_THUMBNAIL:
    on_thumbnail_terminate(*this, ok);
    break;
  case TRANSCODE_CLEANUP:
    on_cleanup_terminate(*this, ok);
    break;
  default:
    break;
  }
}
