// Waiting for the tool of a job that was stopped.
#pragma once

#include <string>

#include "tools/client/item_view.h"
#include "tools/client/vod_service.h"

// Asks the service for the item of that id until `is_ending` no longer accepts it, or it is gone,
// or 15 s have passed. True if the item is cancelled by then, so that no tool is at work for it.
bool wait_for_tool(vod_service& service, const std::string& id,
                   bool (*is_ending)(const item_view& item));
