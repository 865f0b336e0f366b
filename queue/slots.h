// The five one-at-a-time slots: each null, or the one item that may run that kind of step.
// This header includes nothing of the service.
#pragma once

class QueueItem;

extern QueueItem* item_metadata_ident_in_action;
extern QueueItem* item_query_profiles_in_action;
extern QueueItem* item_active_transcode_in_action;
extern QueueItem* item_active_upload_in_action;
extern QueueItem* item_active_download_in_action;

// Empties every slot that holds the item.
void item_in_action_remove_self(QueueItem* item);
