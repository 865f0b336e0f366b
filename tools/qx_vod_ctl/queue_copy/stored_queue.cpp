// Takes queue files apart and puts them together.
#include "tools/qx_vod_ctl/queue_copy/stored_queue.h"

#include <algorithm>

#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/queue_document.h"

namespace {

void take_job(const json11::Json& document, stored_queue& queue) {
  stored_job job;
  if (read_item(document, job.item) && !job.item.input_file.empty()) {
    job.document = document;
    queue.jobs.push_back(std::move(job));
  }
}

// The position after the opening bracket of the list; npos without a list.
std::size_t begin_of_list(const std::string& text) {
  const std::size_t key = text.find("\"list\"");
  const std::size_t bracket = key == std::string::npos ? key : text.find('[', key);
  return bracket == std::string::npos ? bracket : bracket + 1;
}

// The position after the object that begins at `begin`; npos if it does not end.
std::size_t end_of_object(const std::string& text, std::size_t begin) {
  int depth = 0;
  bool in_string = false;
  for (std::size_t i = begin; i < text.size(); ++i) {
    if (in_string) {
      if (text[i] == '\\') {
        ++i;
      } else if (text[i] == '"') {
        in_string = false;
      }
    } else if (text[i] == '"') {
      in_string = true;
    } else if (text[i] == '{') {
      ++depth;
    } else if (text[i] == '}' && --depth == 0) {
      return i + 1;
    }
  }
  return std::string::npos;
}

// Reads the list's objects one by one. After an object that does not end, nothing is read: it may
// contain a remote server's item, which looks like a job.
void take_whole_jobs(const std::string& text, stored_queue& queue) {
  std::size_t at = begin_of_list(text);
  while (at != std::string::npos) {
    const std::size_t begin = text.find_first_not_of(", \t\r\n", at);
    if (begin == std::string::npos || text[begin] == ']') { return; }
    const std::size_t object = text.find('{', begin);
    if (object == std::string::npos) { return; }
    at = end_of_object(text, object);
    if (at == std::string::npos) { return; }
    std::string error;
    take_job(parse_json(text.substr(object, at - object), error, most_item_elements), queue);
  }
}

bool is_same_job(const item_view& stored, const item_view& present) {
  if (stored.entry_id == present.entry_id) { return true; }
  return stored.input_file == present.input_file &&
         (stored.profile.empty() || stored.profile == present.profile);
}

}  // namespace

stored_queue read_stored_queue(const std::string& text) {
  const queue_document document(text);
  stored_queue queue;
  queue.damaged = !document.list_is_array();
  for (std::size_t i = 0; i < document.size() && !queue.damaged; ++i) {
    std::string error;
    take_job(document.job(i, error), queue);
    queue.damaged = !error.empty() && !document.is_too_large(i);
  }
  if (queue.damaged) {
    queue.jobs.clear();
    take_whole_jobs(text, queue);
  }
  return queue;
}

std::vector<stored_job> missing_jobs(const std::vector<stored_job>& stored,
                                     std::vector<item_view> present) {
  std::vector<stored_job> missing;
  for (const auto& job : stored) {
    const auto is_it = [&](const item_view& item) { return is_same_job(job.item, item); };
    if (std::any_of(present.begin(), present.end(), is_it)) { continue; }
    missing.push_back(job);
    present.push_back(job.item);
  }
  return missing;
}

bool is_unfinished(const item_view& item) {
  return item.is(TRANSCODE_READY) || item.is(TRANSCODE_TRANSCODING) || item.is(TRANSCODE_REMOTE) ||
         item.is(TRANSCODE_THUMBNAIL);
}

std::string queue_file_text(const std::vector<stored_job>& current,
                            const std::vector<stored_job>& more) {
  json11::Json::array list;
  for (const auto& job : current) {
    list.push_back(job.document);
  }
  for (const auto& job : more) {
    auto keys = job.document.object_items();
    keys[key_fileops_job_id] = -1;
    list.emplace_back(keys);
  }
  return json_text(json11::Json::object{{key_list, list}});
}
