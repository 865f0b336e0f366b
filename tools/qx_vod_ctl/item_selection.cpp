// The items that a command line names.
#include "tools/qx_vod_ctl/item_selection.h"

#include <algorithm>

#include "tools/common/command_line.h"
#include "tools/qx_vod_ctl/id_resolver.h"
#include "tools/qx_vod_ctl/report.h"

item_selection select_items(vod_service& service, const std::vector<std::string>& given) {
  item_selection selection;
  for (const auto& text : given) {
    const resolved_id id = resolve_id(service, text);
    if (id.exit_status != 0) {
      selection.exit_status = std::max(selection.exit_status, report_id(text, id));
    }
    if (id.exit_status == exit_usage || id.exit_status == exit_no_service) {
      return {id.exit_status, {}};
    }
    const auto end = selection.ids.end();
    const bool is_new = std::find(selection.ids.begin(), end, id.entry_id) == end;
    if (id.exit_status == 0 && is_new) selection.ids.push_back(id.entry_id);
  }
  return selection;
}
