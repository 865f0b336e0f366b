// Starts a job's transcode, here or on the configured server.
#include <cstdio>

#include <sys/stat.h>

#include "platform/cpu.h"
#include "platform/transcode_settings.h"
#include "queue/queue_item.h"
#include "queue/slots.h"
#include "remote/download.h"
#include "rules/texts.h"
#include "rules/transcoder_contract.h"

bool QueueItem::do_queue_start_transcode() {
  if (!transcode_may_start()) { return false; }
  struct stat status {};
  if (lstat(fileops_job_dir.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    state_message = text_operation_gone;
    if (!fileops_job_dir.empty()) { fileops_remove_job(); }
    init_fileops_job();
    return false;
  }
  waiting = false;  // kept from a run before: no transcoder of this one is suspended
  return transcode_settings.go_remote() ? start_remote() : start_local();
}

bool QueueItem::transcode_may_start() {
  return sm.state == TRANSCODE_READY && sm.ready.state == READY_READY_TO_TRANSCODE &&
         !transcode_profile.empty() && !fileops_job_dir.empty() && !quoted_profile.empty() &&
         !output_file.empty() && !input_file.empty() && !is_running() && !paused &&
         validate_ready() == 1;
}

bool QueueItem::start_remote() {
  fprintf(stderr, "Item '%s' starting transcode remotely\n", entry_id.c_str());
  remote_info.ip = transcode_settings.address;
  sm.set_state(TRANSCODE_REMOTE);
  sm.remote.set_state(REMOTE_INIT);
  if (remote_info.name.empty()) {
    gen_uuid(remote_info.name);
    uploaded = false;
    discard_download(*this);
  }
  state_message = "Starting remote transcode";
  fileops_write_status();
  return true;
}

bool QueueItem::start_local() {
  fprintf(stderr, "Item '%s' starting transcode\n", entry_id.c_str());
  transcode_order order{transcode_profile, input_file, output_file, {}};
  if (transcode_settings.fullspeed) { order.full_speed_threads = how_many_cpus(); }
  proc_argv = transcode_command(order);
  if (!open_proc_stdout()) { return false; }
  state_message = text_transcoding;
  sm.set_state(TRANSCODE_TRANSCODING);
  fileops_write_status();
  item_active_transcode_in_action = this;
  return proc_spawn();
}
