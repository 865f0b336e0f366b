#include "tools/qx_vod_ctl/ending_tool.h"

#include <chrono>
#include <thread>

#include "rules/control_words.h"
#include "rules/json_keys.h"

namespace {

constexpr std::chrono::milliseconds look_interval{100};
constexpr int most_looks = 150;

}  // namespace

bool wait_for_tool(vod_service& service, const std::string& id,
                   bool (*is_ending)(const item_view& item)) {
  for (int looks = 0; looks < most_looks; ++looks) {
    const auto reply = service.request(command_list, {{key_entry_id, id}});
    item_view item;
    if (!reply.accepted() || !read_item(reply.data, item)) { return false; }
    if (!is_ending(item)) { return item.cancelled(); }
    std::this_thread::sleep_for(look_interval);
  }
  return false;
}
