// The five one-at-a-time slots: each is null, or the only item that may run that kind of step.
#pragma once

class QueueItem;

extern QueueItem* item_metadata_ident_in_action;
extern QueueItem* item_query_profiles_in_action;
extern QueueItem* item_active_transcode_in_action;
extern QueueItem* item_active_upload_in_action;
extern QueueItem* item_active_download_in_action;

// Releases every slot that the item holds.
void item_in_action_remove_self(QueueItem* item);
