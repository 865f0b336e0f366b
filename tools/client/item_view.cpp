#include "tools/client/item_view.h"

#include <algorithm>

#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/limits.h"
#include "tools/client/job_ending.h"
#include "tools/job_log/job_reason.h"

namespace {

std::string step_of(const json11::Json& json) {
  for (const char* key : step_keys) {
    if (json[key].is_string()) { return json[key].string_value(); }
  }
  return "";
}

}  // namespace

std::string item_view::state_and_step() const {
  return sub_state.empty() ? state : state + ": " + sub_state;
}

bool item_view::is_in(std::string_view name) const {
  return name == failed_jobs ? job_has_failed(state, text) : state == name;
}

std::string item_view::whole_text() const {
  if (resumed || spread) {
    const std::string first = resumed ? resumption_text(*resumed) : "";
    const std::string second = spread ? spread_text(*spread) : "";
    return text + " (" + first + (resumed && spread ? "; " : "") + second + ")";
  }
  return reason.empty() ? text : text + ": " + reason;
}

bool item_view::running() const {
  return is(TRANSCODE_TRANSCODING) || is(TRANSCODE_REMOTE) || is(TRANSCODE_THUMBNAIL) ||
         is(TRANSCODE_CLEANUP);
}

bool read_item(const json11::Json& json, item_view& item) {
  item.entry_id = json[key_entry_id].string_value();
  item.input_file = json[key_input_file].string_value();
  item.output_file = json[key_output_file].string_value();
  item.profile = json[key_profile].string_value();
  item.offered.clear();
  for (const auto& name : json[key_quoted_profiles].array_items()) {
    item.offered.push_back(name.string_value());
  }
  item.state = json[key_state].string_value();
  item.sub_state = step_of(json);
  item.text = json[key_text].string_value();
  item.progress = std::clamp(json[key_progress][0].int_value(), 0, progress_complete);
  item.delete_on_finish = json[key_delete_on_finish].bool_value();
  item.paused = json[key_paused].bool_value();
  item.waiting = json[key_waiting].bool_value();
  item.approved = json[key_approved].bool_value();
  item.uploaded = json[key_uploaded].bool_value();
  const json11::Json& job = json[key_fileops_job_id];
  item.fileops_job = job.is_number() ? job.int_value() : -1;
  item.pid = json[key_process_pid].is_number() ? json[key_process_pid].int_value() : -1;
  return !item.entry_id.empty();
}

bool read_item(const std::string& json_text, item_view& item) {
  std::string error;
  return read_item(parse_json(json_text, error), item);
}

void read_reason(item_view& item) {
  item.reason.clear();
  if (!item.cancelled()) { return; }
  item.reason = why_it_failed({item.text, item.input_file, item.output_file, item.fileops_job});
}

void read_resumption(item_view& item) {
  item.resumed =
      item.transcoding_here() ? find_resumption(item.output_file) : std::optional<job_resumption>();
}

void read_spread(item_view& item) {
  item.spread =
      item.transcoding_here() ? find_spread(item.output_file) : std::optional<job_spread>();
}

std::string percent(int progress) {
  return std::to_string(progress / 100) + "." + std::to_string(progress % 100 / 10) + "%";
}
