// "resume": lets a paused job continue.
#include "control/commands.h"
#include "control/reply.h"
#include "queue/queue_item.h"

void do_cmd_resume(const command_call& call) {
  call.item->resume();
  call.item->fileops_write_status();
  reply_changed_item(call);
}
