// Validates an item before every step, because files, folders and jobs come and go.
#include "exec/readiness.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include "exec/fail.h"
#include "exec/source_view.h"
#include "platform/forbidden_area.h"
#include "platform/limited_look.h"
#include "platform/trusted_path.h"
#include "queue/descriptor.h"
#include "queue/queue_item.h"
#include "rules/fileops_words.h"
#include "rules/output_name.h"
#include "rules/source_rules.h"
#include "rules/texts.h"

namespace {

constexpr char no_metadir_text[] = "Rejected: output file, unable to create metadata dir";

// Shows a refusal to the user. True if there is none.
bool is_accepted(QueueItem& item, std::string refusal) {
  if (refusal.empty()) { return true; }
  item.state_message = std::move(refusal);
  return false;
}

bool input_allowed(QueueItem& item) {
  const unsigned area = cgi_velmar_forbidden_area(item.input_file.c_str(), source_path_flags);
  return is_accepted(item, path_refusal(item.input_file, area));
}

// From the start of the transcode on, the source is one certain file: only that one is removed at
// the end, whatever bears its name by then.
void note_source(QueueItem& item, const file_identity& file) {
  if (item.sm.state <= TRANSCODE_READY || !item.judged_source.is_known()) {
    item.judged_source = file;
  }
}

// If the source does not answer, it is neither accepted nor refused: the item's `source_silent` is
// set.
bool input_is_file_or_folder(QueueItem& item) {
  source_view source(item);
  if (!source.look()) {
    wait_for_source(item);
    return false;
  }
  file_identity file;
  const std::string refusal = source.refusal(file);
  if (file.is_known()) { note_source(item, file); }
  if (is_accepted(item, refusal)) { return true; }
  forget_late_look(item.input_file);  // whoever tries again wants a new answer
  return false;
}

// An output is only needed once the profile is known; if one is set, it is always checked.
bool output_allowed(QueueItem& item) {
  const bool past_profiles =
      item.sm.state > TRANSCODE_READY ||
      (item.sm.state == TRANSCODE_READY && item.sm.ready.state > READY_QUERY_PROFILES);
  if (item.output_file.empty()) {
    if (!past_profiles) { return true; }
    if (!item.set_output_file(item.pick_output_file_name_from_input().c_str())) {
      item.state_message = text_output_invalid;
      return false;
    }
    if (item.output_file.empty()) { return true; }
  }
  if (!is_output_path_allowed(item.output_file)) {
    item.state_message = "Rejected: output file name is invalid";
    return false;
  }
  if (item.output_metadir.empty()) {
    item.state_message = no_metadir_text;
    return false;
  }
  if (!make_directory(item.output_metadir, 0777) && errno != EEXIST) {
    fail(item, "Unable to mkdir metadir");
    item.state_message = no_metadir_text;
    return false;
  }
  return true;
}

// Whatever is checked besides the source.
bool rest_is_valid(QueueItem& item) {
  if (!output_allowed(item) || !item.init_fileops_job()) { return false; }
  item.fileops_op = fileops_operation;
  item.fileops_write_status();
  return true;
}

// Moves the item to the start of "ready", unless anything of an earlier step is left.
bool ready_from_rest(QueueItem& item) {
  if (item.is_running()) {
    item.shutdown_proc();
    item.state_message = "problem: process/thread still running. Please retry again.";
    return false;
  }
  item.progress = 0;
  item.sm.set_state(TRANSCODE_READY);
  item.sm.ready.set_state(READY_INIT);
  return true;
}

}  // namespace

// Checks the file by name in its folder without opening it: a FIFO would block the service.
std::string refusal_of_source(QueueItem& item, file_identity& file) {
  if (item.input_dir_fd == -1 && !item.input_dir.empty()) {
    item.input_dir_fd = open(item.input_dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }
  const bool is_open = item.input_dir_fd != -1;
  const unsigned area =
      is_open ? cgi_velmar_forbidden_area_fd(item.input_dir_fd, source_folder_flags) : 0;
  std::string refusal = folder_refusal(is_open, area);
  if (!refusal.empty()) { return refusal; }
  struct stat status {};
  const int result =
      fstatat(item.input_dir_fd, item.input_name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
  const int error = result == 0 ? 0 : errno;
  if (error == 0) { file = file_identity(status); }
  return file_refusal(error, status.st_mode);
}

int QueueItem::validate_ready() {
  source_silent = false;
  const bool input_good = input_allowed(*this) && input_is_file_or_folder(*this);
  // The folder is opened again each time: it may have been replaced, and a descriptor kept open
  // would prevent its file system from being unmounted.
  close_descriptor(input_dir_fd);
  close_descriptor(input_fd);
  return input_good && rest_is_valid(*this) ? 1 : 0;
}

bool is_valid_or_silent(QueueItem& item) {
  if (item.validate_ready() == 1) { return true; }
  return std::exchange(item.source_silent, false) && rest_is_valid(item);
}

bool QueueItem::ready() {
  if (sm.state == TRANSCODE_READY) { return true; }
  if (sm.state != TRANSCODE_INIT && sm.state != TRANSCODE_CANCELLED) { return false; }
  // A source that does not answer is validated as soon as it does.
  if (validate_ready() == 0 && !(source_silent && rest_is_valid(*this))) { return false; }
  forget_late_look(input_file);  // for the user's own look
  source_unseen = false;
  return ready_from_rest(*this);
}

bool QueueItem::do_user_ready() {
  if (!ready()) { return false; }
  const bool is_waiting = source_silent && state_message == text_source_silent;
  (is_waiting ? text_before_silence : state_message) = text_ready;
  fileops_write_status();
  return true;
}
