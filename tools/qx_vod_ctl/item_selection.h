// The items that a command line names.
#pragma once

#include <string>
#include <vector>

#include "tools/client/item_view.h"
#include "tools/client/vod_service.h"

// How a command line tells which items it means: by ids, or by a property of theirs.
struct item_choice {
  std::vector<std::string> given;
  bool all = false;
  std::string state;  // empty for none

  bool is_whole_selection() const { return all || !state.empty(); }
};

struct item_selection {
  int exit_status = 0;           // the highest of what was reported
  std::vector<std::string> ids;  // entry ids in the order given, each once
};

// Resolves all of `given` before anything is done to any: removing one item can make the beginning
// of another's id unambiguous. What leads to no item is reported. An ambiguous id, like no service,
// leaves nothing selected.
item_selection select_items(vod_service& service, const std::vector<std::string>& given);

// The same for either way to tell. With "all" those are meant that `fits` takes; with a state every
// one in it. None at all is reported, but is no failure.
item_selection select_items(vod_service& service, const item_choice& choice,
                            bool (*fits)(const item_view& item));

// Puts ids into the order in which their items can be stopped without a next one starting in
// between: from the last of the queue to the first, and those at work after all others. An item
// that is not in the queue any more comes first; where the queue cannot be read, the ids are
// reversed.
void order_for_stopping(vod_service& service, std::vector<std::string>& ids);
