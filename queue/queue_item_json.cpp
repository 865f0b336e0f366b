// Writes the JSON form of an item. To add a key: a field in queue_item.h with the key in its
// comment, a line in for_each_key() here, a line in read_item() (item_document.cpp).
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "queue/queue_item.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"

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

// Ten-thousandths, as [numerator, denominator].
struct progress_form {
  std::int32_t progress;
  json11::Json to_json() const { return json11::Json::array{progress, progress_complete}; }
};

// Calls `take` with each key and its value, keys in byte order, which is the order in a text.
template <typename Taker>
void for_each_key(const QueueItem& item, bool queue_file, Taker take) {
  take(key_approved, item.approved);
  if (item.sm.state == TRANSCODE_CLEANUP) { take(key_cleanup_step, item.sm.cleanup.state_name()); }
  take(key_delete_on_finish, item.delete_on_finish);
  take(key_entry_id, item.entry_id);
  take(key_fileops_job_id, item.fileops_job_id);
  take(key_input_file, item.input_file);
  take(key_output_file, item.output_file);
  take(key_paused, item.paused);
  take(key_process_argv, item.proc_argv);
  take(key_process_pid, item.proc_pid);
  take(key_quoted_profiles, item.quoted_profile);
  if (item.sm.state == TRANSCODE_READY) { take(key_ready_step, item.sm.ready.state_name()); }
  if (!item.remote_info.empty()) {
    take(key_remote_job, remote_job_json(item.remote_info, queue_file));
  }
  if (item.sm.state == TRANSCODE_REMOTE) {
    take(key_remote_command, item.sm.remote_command);
    take(key_remote_step, item.sm.remote.state_name());
  }
  take(key_text, item.state_message);
  if (item.sm.state == TRANSCODE_THUMBNAIL) {
    take(key_thumbnail_step, item.sm.thumbnail.state_name());
  }
  take(key_profile, item.transcode_profile);
  take(key_progress, progress_form{item.progress});
  take(key_state, item.sm.state_name());
  take(key_uploaded, item.uploaded);
  if (queue_file) {
    take(key_wants_cancel, item.user_wants_cancel);
    take(key_wants_pause, item.user_wants_pause);
    take(key_wants_remove, item.user_wants_remove);
  }
  take(key_waiting, item.waiting);
}

bool is_plain(char c) {
  return c >= ' ' && c <= '~' && c != '"' && c != '\\';
}

// Writes an object as the JSON library would, but puts the values that most items consist of into
// the text directly: the library makes several allocations for each.
class object_writer {
public:
  explicit object_writer(std::string& out) : out_(out) {}

  template <typename Value>
  void operator()(const char* key, const Value& value) {
    out_ += separator_;
    add_plain(key);
    out_ += ": ";
    add(value);
    separator_ = ", ";
  }

private:
  void add_plain(std::string_view text) {
    out_ += '"';
    out_ += text;
    out_ += '"';
  }
  void add(bool value) { out_ += value ? "true" : "false"; }
  void add(std::int32_t value) { out_ += std::to_string(value); }
  void add(progress_form value) {
    out_ += '[';
    add(value.progress);
    out_ += ", ";
    add(progress_complete);
    out_ += ']';
  }
  void add(const char* name) { add_plain(name); }
  void add(const std::string& text) {
    if (std::all_of(text.begin(), text.end(), is_plain)) {
      add_plain(text);
    } else {
      out_ += json_text(text);
    }
  }
  void add(const std::vector<std::string>& texts) {
    out_ += '[';
    for (std::size_t i = 0; i < texts.size(); ++i) {
      out_ += i == 0 ? "" : ", ";
      add(texts[i]);
    }
    out_ += ']';
  }
  void add(const json11::Json& json) { out_ += json_text(json); }

  std::string& out_;
  const char* separator_ = "";
};

}  // namespace

void QueueItem::serialize_json(json_object& out, bool queue_file) const {
  for_each_key(*this, queue_file, [&out](const char* key, const auto& value) { out[key] = value; });
}

void QueueItem::serialize_to_string(std::string& out, bool queue_file) const {
  out += '{';
  for_each_key(*this, queue_file, object_writer(out));
  out += '}';
}
