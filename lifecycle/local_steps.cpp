// Starts an item's transcode, locally or on the configured server.
#include <cstdio>

#include <sys/stat.h>

#include "platform/cpu.h"
#include "platform/transcode_settings.h"
#include "queue/queue_item.h"
#include "queue/slots.h"
#include "remote/download.h"
#include "rules/texts.h"
#include "rules/transcoder_contract.h"

namespace {

bool transcode_may_start(QueueItem& item) {
  return item.sm.state == TRANSCODE_READY && item.sm.ready.state == READY_READY_TO_TRANSCODE &&
         !item.transcode_profile.empty() && !item.fileops_job_dir.empty() &&
         !item.quoted_profile.empty() && !item.output_file.empty() && !item.input_file.empty() &&
         !item.is_running() && !item.paused && item.validate_ready() == 1;
}

bool start_remote(QueueItem& item) {
  fprintf(stderr, "Item '%s' starting transcode remotely\n", item.entry_id.c_str());
  if (item.remote_info.ip.empty()) { discard_download(item); }
  item.remote_info.ip = transcode_settings.address;
  item.sm.set_state(TRANSCODE_REMOTE);
  item.sm.remote.set_state(REMOTE_INIT);
  if (item.remote_info.name.empty()) {
    gen_uuid(item.remote_info.name);
    item.uploaded = false;
  }
  item.state_message = "Starting remote transcode";
  item.fileops_write_status();
  return true;
}

bool start_local(QueueItem& item) {
  fprintf(stderr, "Item '%s' starting transcode\n", item.entry_id.c_str());
  transcode_order order{item.transcode_profile, item.input_file, item.output_file, {}};
  if (transcode_settings.fullspeed) { order.full_speed_threads = how_many_cpus(); }
  item.proc_argv = transcode_command(order);
  if (!item.open_proc_stdout()) { return false; }
  // A later download must not continue the file that is made here. What was uploaded stays.
  item.remote_info.ip.clear();
  item.state_message = text_transcoding;
  item.sm.set_state(TRANSCODE_TRANSCODING);
  item.fileops_write_status();
  item_active_transcode_in_action = &item;
  return item.proc_spawn();
}

}  // namespace

bool QueueItem::do_queue_start_transcode() {
  if (!transcode_may_start(*this)) { return false; }
  struct stat status {};
  if (lstat(fileops_job_dir.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    state_message = text_operation_gone;
    if (!fileops_job_dir.empty()) { fileops_remove_job(); }
    init_fileops_job();
    return false;
  }
  waiting = false;  // restored from an earlier run: this run has no suspended transcoder
  return transcode_settings.go_remote() ? start_remote(*this) : start_local(*this);
}
