// The JSON form of a job, written. To add a key: a field in queue_item.h with the key in its
// comment, a line in serialize_json() here, a line in deserialize_json().
#include <algorithm>

#include "queue/queue_item.h"

namespace {

// The parser goes 200 levels down, and a file that nests deeper is lost as a whole. In the queue
// file a remote document stands at the fourth: file, list, item, remote job.
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
  json11::Json::object out{{"entry id", job.entry_id}};
  if (queue_file) {
    out["ip"] = job.ip;
    out["name"] = job.name;
    if (job.json.is_object() && !is_deeper_than(job.json, deepest_remote_document)) {
      out["json"] = job.json;
    }
  }
  return out;
}

}  // namespace

void QueueItem::serialize_json(json_object& out, bool queue_file) const {
  out["entry id"] = entry_id;
  out["input file"] = input_file;
  out["output file"] = output_file;
  out["transcode profile"] = transcode_profile;
  out["quoted profile"] = quoted_profile;
  out["fileops job id"] = fileops_job_id;
  out["state"] = state_message;
  out["transcode state"] = sm.state_name();
  out["transcode progress"] = json11::Json::array{progress, progress_complete};
  out["delete on finish"] = delete_on_finish;
  out["process pid"] = proc_pid;
  out["approved"] = approved;
  out["uploaded"] = uploaded;
  out["waiting"] = waiting;
  out["paused"] = paused;
  out["process argv"] = proc_argv;
  if (queue_file) {
    out["user wants to pause"] = user_wants_pause;
    out["user wants to remove"] = user_wants_remove;
    out["user wants to cancel"] = user_wants_cancel;
  }
  if (sm.state == TRANSCODE_READY) { out["ready state"] = sm.ready.state_name(); }
  if (sm.state == TRANSCODE_THUMBNAIL) { out["thumbnail state"] = sm.thumbnail.state_name(); }
  if (sm.state == TRANSCODE_CLEANUP) { out["cleanup state"] = sm.cleanup.state_name(); }
  if (sm.state == TRANSCODE_REMOTE) {
    out["remote transcode state"] = sm.remote.state_name();
    out["remote transcode command"] = sm.remote_command;
  }
  if (!remote_info.empty()) { out["remote job"] = remote_job_json(remote_info, queue_file); }
}

void QueueItem::serialize_to_string(std::string& out, bool queue_file) const {
  json_object keys;
  serialize_json(keys, queue_file);
  json11::Json(keys).dump(out);
}
