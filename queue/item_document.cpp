// Reads each key that queue_item_json.cpp writes.
#include "queue/item_document.h"

#include <algorithm>

#include "queue/json_number.h"
#include "queue/queue_item.h"
#include "rules/json_keys.h"

namespace {

// A boolean, or a number that is true if above 0; any other value leaves the flag unchanged.
void read_flag(const json11::Json& json, bool& flag) {
  if (json.is_bool()) {
    flag = json.bool_value();
  } else if (json.is_number()) {
    flag = json_int(json) > 0;
  }
}

// [numerator, denominator], or a plain number in percent; the result is in ten-thousandths.
std::int32_t read_progress(const json11::Json& json) {
  if (json.is_number()) { return to_int32(json.number_value() * 100); }
  if (!json.is_array()) { return 0; }
  const json11::Json::array& parts = json.array_items();
  std::int32_t const denominator =
      parts.size() < 2 ? progress_complete : std::clamp(json_int(parts[1]), 1, progress_complete);
  std::int32_t const numerator = parts.empty() ? 0 : std::clamp(json_int(parts[0]), 0, denominator);
  return denominator == progress_complete ? numerator : numerator * progress_complete / denominator;
}

// The main machine first: setting it makes the sub-machine valid that is set next.
void read_states(const json11::Json& json, QueueItem::transcode_state_machine& sm) {
  sm.set_state(json[key_state].string_value());
  switch (sm.state) {
  case TRANSCODE_READY:
    sm.ready.set_state(json[key_ready_step].string_value());
    break;
  case TRANSCODE_THUMBNAIL:
    sm.thumbnail.set_state(json[key_thumbnail_step].string_value());
    break;
  case TRANSCODE_REMOTE:
    sm.remote.set_state(json[key_remote_step].string_value());
    sm.remote_command = json[key_remote_command].string_value();
    break;
  case TRANSCODE_CLEANUP:
    sm.cleanup.set_state(json[key_cleanup_step].string_value());
    break;
  default:
    break;
  }
}

void read_remote_job(const json11::Json& json, QueueItem::remote_job& job) {
  if (json.is_null()) { return; }
  job.ip = json[key_remote_address].string_value();
  job.name = json[key_remote_name].string_value();
  job.entry_id = json[key_entry_id].string_value();
  if (json[key_remote_document].is_object()) { job.json = json[key_remote_document]; }
}

void read_flags(const json11::Json& json, QueueItem& item) {
  read_flag(json[key_approved], item.approved);
  read_flag(json[key_waiting], item.waiting);
  read_flag(json[key_wants_remove], item.user_wants_remove);
  read_flag(json[key_wants_cancel], item.user_wants_cancel);
  read_flag(json[key_wants_pause], item.user_wants_pause);
  // Kept on purpose: only a boolean is accepted here. Effect: a number never skips an upload.
  if (json[key_uploaded].is_bool()) { item.uploaded = json[key_uploaded].bool_value(); }
  read_flag(json[key_paused], item.paused);
  read_flag(json[key_delete_on_finish], item.delete_on_finish);
}

}  // namespace

const char* read_item(QueueItem& item, const json11::Json& json) {
  if (item.is_running()) { return "it has a child"; }
  if (!json.is_object()) { return "it is not an object"; }
  if (!item.set_input_file(json[key_input_file].string_value().c_str())) {
    return "its input file is not acceptable";
  }
  if (!item.set_output_file(json[key_output_file].string_value().c_str())) {
    return "its output file is not acceptable";
  }
  item.transcode_profile = json[key_profile].string_value();
  item.quoted_profile.clear();
  for (const json11::Json& profile : json[key_quoted_profiles].array_items()) {
    item.quoted_profile.push_back(profile.string_value());
  }
  const json11::Json& job_id = json[key_fileops_job_id];
  item.set_fileops_job_id(job_id.is_number() ? json_int(job_id) : -1);
  item.state_message = json[key_text].string_value();
  // All users of the id treat it as a C string, so it ends at a NUL.
  const std::string& id = json[key_entry_id].string_value();
  item.entry_id = id.substr(0, id.find('\0'));
  if (item.entry_id.empty()) { return "it has no entry id"; }
  read_states(json, item.sm);
  item.progress = read_progress(json[key_progress]);
  read_flags(json, item);
  read_remote_job(json[key_remote_job], item.remote_info);
  return nullptr;
}
