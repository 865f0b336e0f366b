#include "tools/qx_vod_ctl/bug_report/stored_item.h"

#include <vector>

#include "platform/text.h"
#include "rules/json_keys.h"
#include "rules/queue_document.h"

namespace {

constexpr const char* job_prefix = "job:";

bool is_named(const json11::Json& item, const std::string& given) {
  const std::string& id = item[key_entry_id].string_value();
  const json11::Json& job = item[key_fileops_job_id];
  if (given == job_prefix + std::to_string(job.int_value()) && job.is_number()) { return true; }
  return !given.empty() && begins_with(id, given);
}

}  // namespace

json11::Json find_stored_item(const std::string& queue, const std::string& given,
                              std::string& error) {
  const queue_document document(queue);
  std::vector<json11::Json> found;
  for (std::size_t i = 0; i < document.size(); ++i) {
    std::string parse_error;
    const json11::Json item = document.job(i, parse_error);
    if (item[key_entry_id].string_value() == given) { return item; }
    if (is_named(item, given)) { found.push_back(item); }
  }
  if (found.size() == 1) { return found.front(); }
  error = found.empty() ? "not in the queue file" : "matches several jobs in the queue file";
  return {};
}
