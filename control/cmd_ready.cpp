// "ready": releases a job that waits in "init".
#include "control/commands.h"
#include "control/reply.h"
#include "queue/queue_item.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"

// Kept on purpose: the refusal of a "ready" contains the word "modify". Effect: clients that match
// replies by the command word see a refused modification.
void do_cmd_ready(const command_call& call) {
  if (!call.item->modify(key_state, name_of(TRANSCODE_READY))) {
    refuse_with_item(call.reply, command_modify, status_cannot_be_modified, *call.item);
    return;
  }
  reply_changed_item(call);
}
