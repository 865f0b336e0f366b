// Writes the JSON form of an item. To add a key: a field in queue_item.h with the key in its
// comment, a line in serialize_json() here, a line in read_item() (item_document.cpp).
#include <algorithm>

#include "queue/queue_item.h"
#include "rules/json_keys.h"

namespace {

// The parser accepts 200 levels of nesting and rejects a deeper file as a whole. In the queue file
// a remote document starts at the fourth level: file, list, item, remote job.
constexpr int deepest_remote_document = 200 - 4;

bool is_deeper_than(const json11::Json& json, int levels) {
  const auto is_child_deeper = [levels](const json11::Json& child) {
    return levels == 0 || is_deeper_than(child, levels - 1);
  };
  const json11::Json::array& elements = json.array_items();
  const json11::Json::object& members = json.object_items();
  return std::any_of(elements.begin(), elements.end(), is_child_deeper) ||
         std::any_of(members.begin(), members.end(), [&is_child_deeper](const auto& member) {
           return is_child_deeper(member.second);
         });
}

json11::Json remote_job_json(const QueueItem::remote_job& job, bool queue_file) {
  json11::Json::object out{{key_entry_id, job.entry_id}};
  if (queue_file) {
    out[key_remote_address] = job.ip;
    out[key_remote_name] = job.name;
    if (job.json.is_object() && !is_deeper_than(job.json, deepest_remote_document)) {
      out[key_remote_document] = job.json;
    }
  }
  return out;
}

}  // namespace

void QueueItem::serialize_json(json_object& out, bool queue_file) const {
  out[key_entry_id] = entry_id;
  out[key_input_file] = input_file;
  out[key_output_file] = output_file;
  out[key_profile] = transcode_profile;
  out[key_quoted_profiles] = quoted_profile;
  out[key_fileops_job_id] = fileops_job_id;
  out[key_text] = state_message;
  out[key_state] = sm.state_name();
  out[key_progress] = json11::Json::array{progress, progress_complete};
  out[key_delete_on_finish] = delete_on_finish;
  out[key_process_pid] = proc_pid;
  out[key_approved] = approved;
  out[key_uploaded] = uploaded;
  out[key_waiting] = waiting;
  out[key_paused] = paused;
  out[key_process_argv] = proc_argv;
  if (queue_file) {
    out[key_wants_pause] = user_wants_pause;
    out[key_wants_remove] = user_wants_remove;
    out[key_wants_cancel] = user_wants_cancel;
  }
  if (sm.state == TRANSCODE_READY) { out[key_ready_step] = sm.ready.state_name(); }
  if (sm.state == TRANSCODE_THUMBNAIL) { out[key_thumbnail_step] = sm.thumbnail.state_name(); }
  if (sm.state == TRANSCODE_CLEANUP) { out[key_cleanup_step] = sm.cleanup.state_name(); }
  if (sm.state == TRANSCODE_REMOTE) {
    out[key_remote_step] = sm.remote.state_name();
    out[key_remote_command] = sm.remote_command;
  }
  if (!remote_info.empty()) { out[key_remote_job] = remote_job_json(remote_info, queue_file); }
}

void QueueItem::serialize_to_string(std::string& out, bool queue_file) const {
  json_object keys;
  serialize_json(keys, queue_file);
  json11::Json(keys).dump(out);
}
