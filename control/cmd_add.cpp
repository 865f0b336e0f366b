// "add": a new job at the end of the queue.
#include <cstdio>
#include <memory>
#include <string>

#include "control/commands.h"
#include "control/reply.h"
#include "control/selection.h"
#include "platform/comm_socket_v4.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "queue/transcode_queue.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/limits.h"

namespace {

// Deletes the oldest items in one state until the queue is short enough again; prints `message` and
// the source for each. Kept on purpose: these removals do not count as changes of the queue's
// membership. Effect: clients notice them by "total" and the insertion that follows, not by the
// modify counter.
void auto_clear(transcode_states state, const char* message) {
  auto i = transcode_queue.begin();
  while (transcode_queue.size() > comfortable_jobs && i != transcode_queue.end()) {
    QueueItem* const item = *i;
    if (item == nullptr || item->sm.state != state) {
      ++i;
      continue;
    }
    fprintf(stderr, message, item->input_file.c_str());
    i = transcode_queue.erase(i);
    delete item;
  }
}

}  // namespace

void do_cmd_add(const command_call& call) {
  auto_clear(TRANSCODE_DONE, "Auto-clearing finished item '%s'\n");
  auto_clear(TRANSCODE_CANCELLED, "Auto-clearing cancelled item '%s'\n");
  if (transcode_queue.size() >= most_jobs) {
    refuse(call.reply, call.command, status_too_many);
    return;
  }
  auto item = std::make_unique<QueueItem>();
  if (!apply_pairs(*item, sorted_pairs(call.request))) {
    if (!item->fileops_job_dir.empty()) {
      item->fileops_remove_job();  // the item never enters the queue, so its job is not needed
    }
    refuse(call.reply, call.command, status_not_accepted);
    return;
  }
  comm_socket_v4_packet_begin_writing(&call.reply, 0, call.command, status_ok);
  comm_socket_v4_packet_write_argv_end(&call.reply);
  comm_socket_v4_packet_write_nv_pair(&call.reply, key_entry_id, item->entry_id.c_str());
  write_item_json(call.reply, *item);
  comm_socket_v4_packet_write_end(&call.reply);
  transcode_queue.push_back(item.get());
  static_cast<void>(item.release());
  ++transcode_queue_mod_count;
  trigger_transcode_queue_scan();
  trigger_background_write_queue();
}
