// The items that a command line names.
#pragma once

#include <string>
#include <vector>

#include "tools/qx_vod_ctl/vod_service.h"

struct item_selection {
  int exit_status = 0;           // the highest of what was reported
  std::vector<std::string> ids;  // entry ids in the order given, each once
};

// Resolves all of `given` before anything is done to any: removing one item can make the beginning
// of another's id unambiguous. What leads to no item is reported. An ambiguous id, like no service,
// leaves nothing selected.
item_selection select_items(vod_service& service, const std::vector<std::string>& given);
