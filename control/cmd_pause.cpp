// "pause": suspends a job.
#include "control/commands.h"
#include "control/reply.h"
#include "queue/queue_item.h"

void do_cmd_pause(const command_call& call) {
  call.item->pause();
  call.item->fileops_write_status();
  reply_changed_item(call);
}
