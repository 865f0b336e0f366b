// Finds the item that a person means by a few characters.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/client/item_view.h"
#include "tools/client/vod_service.h"

struct resolved_id {
  int exit_status = 0;  // 0, or how the client is to end
  std::string entry_id;
  std::string error;                  // words that follow the given id
  std::vector<item_view> candidates;  // where it fits several items
};

// Resolves `given`: a complete entry id, a unique prefix of one, or "job:N" for the item of the
// file-operations job N (decimal). A complete id takes precedence over longer ones that begin with
// it. An id that is empty, ambiguous or not a job number is a usage error.
resolved_id resolve_id(vod_service& service, const std::string& given);
