#include "queue/slots.h"

#include <initializer_list>

QueueItem* item_metadata_ident_in_action = nullptr;
QueueItem* item_query_profiles_in_action = nullptr;
QueueItem* item_active_transcode_in_action = nullptr;
QueueItem* item_active_upload_in_action = nullptr;
QueueItem* item_active_download_in_action = nullptr;

void item_in_action_remove_self(QueueItem* item) {
  for (QueueItem** slot : {&item_metadata_ident_in_action, &item_query_profiles_in_action,
                           &item_active_transcode_in_action, &item_active_upload_in_action,
                           &item_active_download_in_action}) {
    if (*slot == item) { *slot = nullptr; }
  }
}
