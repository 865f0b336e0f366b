// The record of an item: construction, destruction, identity, source and output.
#include "queue/queue_item.h"

#include <cassert>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <optional>
#include <utility>

#include <sys/stat.h>

#include <uuid/uuid.h>

#include "platform/clock.h"
#include "platform/fileops_jobs.h"
#include "platform/metadata_v4.h"
#include "platform/sliding_window_v4.h"
#include "queue/descriptor.h"
#include "queue/process_state.h"
#include "queue/slots.h"
#include "rules/output_name.h"
#include "rules/source_rules.h"

namespace {

constexpr unsigned long job_directory_size = 4097;

// Clears the source and closes everything open on it.
void close_input(QueueItem& item) {
  close_descriptor(item.input_dir_fd);
  close_descriptor(item.input_fd);
  item.input_meta.close();
  item.input_file.clear();
  item.input_dir.clear();
  item.input_name.clear();
  item.judged_source = file_identity();
}

}  // namespace

void gen_uuid(std::string& out) {
  uuid_t b;
  uuid_generate_random(b);
  char tmp[128];
  const auto w = static_cast<std::size_t>(snprintf(
      tmp, sizeof(tmp), "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x",
      b[0], b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14],
      b[15]));
  // Operators know this assertion from the logs, so its wording stays.
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

QueueItem::QueueItem() : QueueItem(std::string()) {
  gen_uuid(entry_id);
}

QueueItem::QueueItem(std::string id)
    : entry_id(std::move(id)), init_deadline(monotonic_clock_us() + init_timeout_us) {}

QueueItem::~QueueItem() {
  trigger_all_turns();  // the scheduler may be following this item
  close_input(*this);
  close_proc_stdin();
  close_proc_stdout();
  item_in_action_remove_self(this);
  if (proc_pid != -1) {
    fprintf(stderr,
            "WARNING: QueueItem, subprocess for '%s' (entry='%s') is still running at destructor\n",
            input_file.c_str(), entry_id.c_str());
  }
}

void QueueItem::close_proc_stdin() {
  proc_stdin_buffer = sliding_window_v4_destroy(proc_stdin_buffer);
  close_descriptor(proc_stdin_write_fd);
  close_descriptor(proc_stdin_read_fd);
}

void QueueItem::close_proc_stdout() {
  proc_stdout_buffer = sliding_window_v4_destroy(proc_stdout_buffer);
  close_descriptor(proc_stdout_write_fd);
  close_descriptor(proc_stdout_read_fd);
  proc_stderr_to_stdout = false;
}

bool QueueItem::is_running() const {
  return proc_pid != -1 || proc_stdout_read_fd != -1 || proc_stdout_write_fd != -1 ||
         proc_stdout_buffer != nullptr;
}

bool QueueItem::set_input_file(const char* path) {
  std::string new_input = path;  // `path` may point into the text that is cleared next
  std::optional<source_place> place = place_of_source(new_input);
  close_input(*this);
  if (!place) { return false; }
  input_file = std::move(new_input);
  input_dir = std::move(place->folder);
  input_name = std::move(place->name);
  return true;
}

bool QueueItem::set_output_file(const char* path) {
  std::string new_output = path;  // `path` may point into the text that is cleared next
  std::optional<std::string> metadir;
  if (!new_output.empty()) { metadir = metadata_folder_of_output(new_output); }
  output_file.clear();
  output_metadir.clear();
  if (new_output.empty()) { return true; }
  if (!metadir) { return false; }
  output_metadir = std::move(*metadir);
  output_file = std::move(new_output);
  return true;
}

bool QueueItem::set_fileops_job_id(std::int32_t id) {
  if (id < 0) {
    fileops_job_id = -1;
    fileops_job_dir.clear();
    return true;
  }
  char directory[job_directory_size];
  if (cgi_get_fileops_job_directory(id, job_directory_size, directory) == nullptr) { return false; }
  fileops_job_dir = directory;
  fileops_job_id = id;
  return true;
}

std::string QueueItem::pick_output_file_name_from_input() const {
  return output_path_for(std::to_string(gettimeofday_us()), transcode_profile, input_name);
}

bool QueueItem::input_file_not_exist() const {
  struct stat status {};
  return input_file.empty() || (lstat(input_file.c_str(), &status) != 0 && errno == ENOENT);
}
