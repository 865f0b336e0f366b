// The record of a job: birth, death, identity, and its source and output.
#include "queue/queue_item.h"

#include <cassert>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>

#include <uuid/uuid.h>

#include "exec/slots.h"
#include "platform/clock.h"
#include "platform/forbidden_area.h"
#include "platform/metadata_v4.h"
#include "platform/paths.h"
#include "queue/descriptor.h"
#include "queue/output_path.h"

void gen_uuid(std::string& out) {
  uuid_t b;
  uuid_generate_random(b);
  char tmp[128];
  const auto w = static_cast<std::size_t>(snprintf(
      tmp, sizeof(tmp), "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x",
      b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14],
      b[15]));
  // The words of the assertion are known to those who read our logs.
  // clang-format off
  assert(w < (sizeof(tmp)-1));
  // clang-format on
  out.assign(tmp, w);
}

bool QueueItem::remote_job::empty() const {
  return ip.empty() && name.empty() && entry_id.empty() && json.is_null();
}

void QueueItem::remote_job::clear() {
  ip.clear();
  name.clear();
  entry_id.clear();
  json = json11::Json();
}

bool QueueItem::metadata::load(const char* path) {
  close();
  context = metadata_v4_context_create();
  if (context == nullptr || metadata_v4_context_set_file_location(context, path) < 0) {
    return false;
  }
  entries = metadata_v4_metadata_context_create();
  return entries != nullptr &&
         metadata_v4_metadata_context_load_metadata_from_file(entries, context) >= 0;
}

void QueueItem::metadata::close() {
  entries = metadata_v4_metadata_context_destroy(entries);
  context = metadata_v4_context_destroy(context);
}

QueueItem::QueueItem() : init_deadline(monotonic_clock_us() + init_timeout_us) {
  gen_uuid(entry_id);
}

QueueItem::~QueueItem() {
  close_input();
  close_proc_stdin();
  close_proc_stdout();
  item_in_action_remove_self(this);
  if (proc_pid != -1) {
    fprintf(stderr,
            "WARNING: QueueItem, subprocess for '%s' (entry='%s') is still running at destructor\n",
            input_file.c_str(), entry_id.c_str());
  }
}

void QueueItem::close_input_descriptors() {
  close_descriptor(input_dir_fd);
  close_descriptor(input_fd);
}

// Forgets the source, with everything that is open on it.
void QueueItem::close_input() {
  close_input_descriptors();
  input_meta.close();
  input_file.clear();
  input_dir.clear();
  input_name.clear();
}

bool QueueItem::set_input_file(const char* path) {
  std::string new_input = path;  // `path` may be the text that is cleared next
  close_input();
  input_file = std::move(new_input);
  std::size_t const slash = input_file.rfind('/');
  if (input_file.compare(0, 1, "/") == 0) {
    input_dir = input_file.substr(0, slash);
    input_name = input_file.substr(slash + 1);
    if (cgi_velmar_forbidden_file_name(input_name.c_str()) == 0) { return true; }
  }
  close_input();
  return false;
}

bool is_output_path_allowed(const std::string& path) {
  std::size_t const prefix_length = strlen(path_output_dir);
  if (path.compare(0, prefix_length, path_output_dir) != 0) { return false; }
  std::size_t const name = path.find_first_not_of('/', prefix_length);
  return name != std::string::npos && cgi_velmar_forbidden_file_name(path.c_str() + name) == 0;
}

bool QueueItem::set_output_file(const char* path) {
  std::string new_output = path;  // `path` may be the text that is cleared next
  output_file.clear();
  output_metadir.clear();
  if (new_output.empty()) { return true; }
  char metadir[4096];
  if (!is_output_path_allowed(new_output) ||
      metadata_v4_file_to_metadir(new_output.c_str(), metadir, sizeof(metadir)) < 0) {
    return false;
  }
  output_metadir = metadir;
  output_file = std::move(new_output);
  return true;
}

std::string QueueItem::pick_output_file_name_from_input() const {
  char name[4096];
  const int length = snprintf(name, sizeof(name), "%llu.vod.%s.%s",
                              static_cast<unsigned long long>(gettimeofday_us()),
                              transcode_profile.c_str(), input_name.c_str());
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof(name)) { return ""; }
  std::string path = std::string(path_output_dir) + name;
  if (path.substr(path.rfind('.')) != ".mp4") { path += ".mp4"; }
  return path;
}

bool QueueItem::input_file_not_exist() const {
  struct stat status {};
  return input_file.empty() || (lstat(input_file.c_str(), &status) != 0 && errno == ENOENT);
}
