// Writes the queue file through a temporary file and a rename, so that readers see all or nothing.
#include "queue/queue_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/guarded_file.h"
#include "platform/paths.h"
#include "platform/queue_copies.h"
#include "platform/unique_fd.h"
#include "queue/item_document.h"
#include "queue/queue_text.h"
#include "rules/json_keys.h"
#include "rules/limits.h"
#include "rules/queue_document.h"
#include "rules/texts.h"

namespace {

// An unreadable queue file is still in place: setting it aside has failed so far.
bool is_blocked_by_unreadable_file = false;

// Sets an unreadable queue file aside so that it is not overwritten. False while it is still in
// place.
bool set_unreadable_file_aside() {
  std::string const copy = set_queue_file_aside();
  is_blocked_by_unreadable_file = copy.empty() && errno != ENOENT;
  if (is_blocked_by_unreadable_file) {
    fprintf(stderr, "Unable to set queue file aside, the queue will not be written, %s\n",
            strerror(errno));
  } else if (!copy.empty()) {
    fprintf(stderr, "Queue file was set aside as %s\n", copy.c_str());
  }
  return !is_blocked_by_unreadable_file;
}

stored_item read_element(const json11::Json& json) {
  const std::string& id = json[key_entry_id].string_value();
  stored_item stored{id, std::make_unique<QueueItem>(id)};
  stored.refusal = read_item(*stored.item, json);
  return stored;
}

// Reads every element before any is restored, because a damaged file is not read in part. False,
// with the reason in `error`, if one is not JSON.
bool read_elements(const queue_document& document, std::vector<stored_item>& items,
                   std::string& error) {
  for (std::size_t i = 0; i < document.size(); ++i) {
    if (document.is_too_large(i)) {
      items.push_back({"", nullptr, "it has too many elements"});
      continue;
    }
    items.push_back(read_element(document.job(i, error)));
    if (!error.empty()) {
      items.clear();
      return false;
    }
  }
  return true;
}

bool refuse_file(const std::string& error) {
  fprintf(stderr, "Queue was not read, error %s\n", error.c_str());
  return false;
}

// False if the text cannot be read.
bool read_text(const std::string& text, std::vector<stored_item>& items) {
  const queue_document document(text);
  if (!document.is_json()) { return refuse_file(fault_of_queue(text, document.error())); }
  if (!document.has_list()) { fprintf(stderr, "Queue warning, list was empty\n"); }
  if (document.has_list() && !document.list_is_array()) {
    fprintf(stderr, "Queue warning, list was not array\n");
  }
  std::string error;
  if (!read_elements(document, items, error)) { return refuse_file(fault_of_queue(text, error)); }
  if (document.left_out() > 0) {
    fprintf(stderr, "Queue warning, items %zu to %zu were dropped: a queue has %zu items at most\n",
            most_jobs + 1, most_jobs + document.left_out(), most_jobs);
  }
  return document.list_is_array();
}

// False if the file cannot be read as a queue.
bool read_file(int fd, std::vector<stored_item>& items) {
  std::string text;
  if (read_all(fd, queue_file_size_limit, text)) { return read_text(text, items); }
  return refuse_file(errno == EFBIG ? "file too large" : strerror(errno));
}

}  // namespace

// Kept on purpose: the results of the write, the close and the rename are not checked. Effect: on a
// full disk the queue file may be truncated; the next write with enough room repairs it.
bool write_queue() {
  if (is_blocked_by_unreadable_file && !set_unreadable_file_aside()) { return false; }
  std::string const text = queue_text();
  {
    const unique_fd file = create_guarded_file(path_queue_file_temporary, path_queue_file);
    if (!file.valid()) { return false; }
    const ssize_t written = write(file.get(), text.data(), text.size());
    static_cast<void>(written);
  }
  rename(path_queue_file_temporary, path_queue_file);
  return true;
}

// Opened non-blocking, so that nothing put in the file's place can hang the start.
bool read_queue_file(std::vector<stored_item>& items) {
  const unique_fd file(open(path_queue_file, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.valid()) {
    fprintf(stderr, "Unable to open queue file\n");
    set_unreadable_file_aside();
    return false;
  }
  if (!read_file(file.get(), items)) { set_unreadable_file_aside(); }
  return true;
}
