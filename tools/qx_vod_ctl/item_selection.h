// The items that a command line names.
#pragma once

#include <string>
#include <vector>

#include "tools/client/item_view.h"
#include "tools/client/vod_service.h"

// How a command line selects items: by ids, or by a property.
struct item_choice {
  std::vector<std::string> given;
  bool all = false;
  std::string state;  // empty for none

  bool is_whole_selection() const { return all || !state.empty(); }
};

struct item_selection {
  int exit_status = 0;           // the highest one reported
  std::vector<std::string> ids;  // entry ids in the order given, each once
};

// Resolves all of `given` before acting on any: removing one item can make a prefix of another's id
// unambiguous. Ids without an item are reported. An ambiguous id, or no service, leaves nothing
// selected.
item_selection select_items(vod_service& service, const std::vector<std::string>& given);

// The same for either kind of choice. "all" means the items that `fits` accepts; a state means
// every item in it. An empty selection is reported, but is not a failure.
item_selection select_items(vod_service& service, const item_choice& choice,
                            bool (*fits)(const item_view& item));

// Puts ids into the order in which their items can be stopped without a next one starting in
// between: from the last of the queue to the first, and those at work after all others. An item
// that is not in the queue any more comes first; where the queue cannot be read, the ids are
// reversed.
void order_for_stopping(vod_service& service, std::vector<std::string>& ids);
