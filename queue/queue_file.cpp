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
#include "queue/queue_text.h"
#include "rules/json_keys.h"
#include "rules/limits.h"
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

// Opened non-blocking, so that nothing put in the file's place can hang the start.
json11::Json parse_queue_file(int fd) {
  std::string text;
  std::string error;
  json11::Json document;
  if (read_all(fd, queue_file_size_limit, text)) {
    document = json11::Json::parse(text, error);
  } else {
    error = errno == EFBIG ? "file too large" : strerror(errno);
  }
  if (document.is_null()) { fprintf(stderr, "Queue was not read, error %s\n", error.c_str()); }
  return document;
}

// False if there is no file; an empty list if it cannot be read.
bool read_list(const json11::Json& value, json11::Json::array& list) {
  if (value.is_null()) {
    fprintf(stderr, "Queue warning, list was empty\n");
  } else if (!value.is_array()) {
    fprintf(stderr, "Queue warning, list was not array\n");
  }
  list = value.array_items();
  return value.is_array();
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

bool read_queue_file(json11::Json::array& list) {
  const unique_fd file(open(path_queue_file, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.valid()) {
    fprintf(stderr, "Unable to open queue file\n");
    set_unreadable_file_aside();
    return false;
  }
  json11::Json const document = parse_queue_file(file.get());
  if (document.is_null() || !read_list(document[key_list], list)) { set_unreadable_file_aside(); }
  return true;
}
