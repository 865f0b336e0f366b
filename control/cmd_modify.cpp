// "modify" and "ready": changes that the item itself accepts or refuses.
#include "control/commands.h"
#include "control/reply.h"
#include "control/selection.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"

namespace {

constexpr char cannot_be_modified_text[] = "ONE OR MORE PARAMETERS CANNOT BE MODIFIED";

}  // namespace

// What was changed before the first refusal stays changed.
void do_cmd_modify(const command_call& call) {
  QueueItem& item = *call.item;
  if (!apply_pairs(item, sorted_field_pairs(call.request))) {
    refuse_with_item(call.reply, call.command, cannot_be_modified_text, item);
    return;
  }
  reply_item(call.reply, call.command, item);
  trigger_transcode_queue_scan();
}

// Kept on purpose: a refused "ready" answers with the word "modify". Effect: clients that pair
// replies by the command word see a refused modification.
void do_cmd_ready(const command_call& call) {
  if (!call.item->modify(key_state, name_of(TRANSCODE_READY))) {
    refuse_with_item(call.reply, command_modify, cannot_be_modified_text, *call.item);
    return;
  }
  reply_item(call.reply, call.command, *call.item);
  trigger_transcode_queue_scan();
}
