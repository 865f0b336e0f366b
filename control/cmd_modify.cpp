// "modify": changes that the item itself accepts or refuses.
#include "control/commands.h"
#include "control/reply.h"
#include "control/selection.h"
#include "queue/queue_item.h"
#include "rules/control_words.h"

// Changes made before the first refused one are kept.
void do_cmd_modify(const command_call& call) {
  QueueItem& item = *call.item;
  if (!apply_pairs(item, sorted_field_pairs(call.request))) {
    refuse_with_item(call.reply, call.command, status_cannot_be_modified, item);
    return;
  }
  reply_changed_item(call);
}
