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
  std::string error;                  // words that follow what was given
  std::vector<item_view> candidates;  // where it fits several items
};

// Resolves `given`: a whole entry id, the beginning of exactly one, or "job:N" for the item of the
// file-operations job N (decimal). A whole id wins over longer ones that begin with it. What is
// empty, ambiguous or not a job's number is a wrong command line.
resolved_id resolve_id(vod_service& service, const std::string& given);
