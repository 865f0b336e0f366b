#include "tools/qx_vod_ctl/id_resolver.h"

#include <algorithm>

#include "platform/text.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/client/queue_reader.h"
#include "tools/command_line/command_line.h"

namespace {

constexpr std::string_view job_prefix = "job:";
constexpr const char* no_such_item_text = "no such job";

resolved_id failed(int exit_status, std::string error) {
  resolved_id result;
  result.exit_status = exit_status;
  result.error = std::move(error);
  return result;
}

resolved_id failed(const service_reply& reply) {
  const bool missing = reply.exit_status == exit_no_such_item;
  std::string cause = missing ? no_such_item_text : reply.text;
  if (!reply.advice.empty()) { cause += "; " + reply.advice; }
  return failed(reply.exit_status, std::move(cause));
}

resolved_id found(std::string entry_id) {
  resolved_id result;
  result.entry_id = std::move(entry_id);
  return result;
}

// Digits only: the service would take 0x1F for 31 and a leading 0 for octal.
bool is_job_number(std::string_view text) {
  constexpr std::size_t most_digits = 10;
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  return !text.empty() && text.size() <= most_digits &&
         std::all_of(text.begin(), text.end(), is_digit) && (text[0] != '0' || text.size() == 1);
}

resolved_id resolve_job(vod_service& service, const std::string& number) {
  if (!is_job_number(number)) { return failed(exit_usage, "not a job number"); }
  const auto reply = service.request(command_list, {{key_fileops_job_id, number}});
  if (!reply.accepted()) { return failed(reply); }
  item_view item;
  if (!read_item(reply.data, item)) { return failed(exit_no_service, "unreadable job"); }
  return found(item.entry_id);
}

resolved_id resolve_prefix(vod_service& service, const std::string& prefix) {
  queue_listing listing;
  service_reply failure;
  if (!read_queue(service, {}, listing, failure)) { return failed(failure); }
  resolved_id result;
  for (auto& listed : listing.items) {
    if (begins_with(listed.item.entry_id, prefix)) { result.candidates.push_back(listed.item); }
  }
  if (result.candidates.empty()) { return failed(exit_no_such_item, no_such_item_text); }
  if (result.candidates.size() == 1) { return found(result.candidates[0].entry_id); }
  result.exit_status = exit_usage;
  result.error = "matches " + std::to_string(result.candidates.size()) + " jobs";
  return result;
}

}  // namespace

resolved_id resolve_id(vod_service& service, const std::string& given) {
  if (given.empty()) { return failed(exit_usage, "an empty id matches every job"); }
  if (begins_with(given, job_prefix)) {
    return resolve_job(service, given.substr(job_prefix.size()));
  }
  const auto whole = service.request(command_list, {{key_entry_id, given}});
  if (whole.accepted()) { return found(given); }
  if (whole.exit_status != exit_no_such_item) { return failed(whole); }
  return resolve_prefix(service, given);
}
