// May this job proceed? Judged anew before every step, because files, folders and jobs come and go.
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/forbidden_area.h"
#include "platform/metadata_v4.h"
#include "queue/queue_item.h"
#include "rules/output_name.h"
#include "rules/texts.h"

namespace {

// cgi_velmar_forbidden_area(): the path as written may not be touched.
constexpr unsigned forbidden_path_bit = 0x1;
// cgi_velmar_forbidden_area_fd(): the flags asked with, and the bit that forbids.
constexpr unsigned forbidden_fd_flags = 0x8080;
constexpr unsigned forbidden_fd_bit = 0x200;

constexpr char no_metadir_text[] = "Rejected: output file, unable to create metadata dir";

}  // namespace

int QueueItem::validate_ready() {
  const bool input_good = input_allowed() && input_is_file_or_folder();
  // The folder is looked up afresh each time: it may be another one by the next check, and an open
  // descriptor would keep its file system from being unmounted.
  close_input_descriptors();
  if (!input_good || !output_allowed() || !init_fileops_job()) { return 0; }
  fileops_op = "vod";
  fileops_write_status();
  return 1;
}

bool QueueItem::input_allowed() {
  if (input_file.empty()) {
    state_message = "Rejected: No input file";
  } else if ((cgi_velmar_forbidden_area(input_file.c_str(), 0) & forbidden_path_bit) != 0) {
    state_message = "Rejected: Forbidden input file";
  } else if (metadata_v4_context_is_metadata_name(input_file.c_str())) {
    state_message = "Rejected: File is metadata";
  } else {
    return true;
  }
  return false;
}

// Judges the file in its folder by name, never opening it: a FIFO or a file on a mount that hangs
// would block the service.
bool QueueItem::input_is_file_or_folder() {
  if (input_dir_fd == -1 && !input_dir.empty()) {
    input_dir_fd = open(input_dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }
  if (input_dir_fd == -1 ||
      (cgi_velmar_forbidden_area_fd(input_dir_fd, forbidden_fd_flags) & forbidden_fd_bit) != 0) {
    state_message = "Rejected: unable to locate folder";
    return false;
  }
  struct stat status {};
  if (fstatat(input_dir_fd, input_name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    state_message = std::string("Rejected: file not accessible, ") + strerror(errno);
    return false;
  }
  if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) {
    state_message = "Rejected: neither file nor folder";
    return false;
  }
  return true;
}

// An output is needed only once the profile is known; where one is set it is judged at any time.
bool QueueItem::output_allowed() {
  const bool past_profiles = sm.state > TRANSCODE_READY ||
                             (sm.state == TRANSCODE_READY && sm.ready.state > READY_QUERY_PROFILES);
  if (output_file.empty()) {
    if (!past_profiles) { return true; }
    if (!set_output_file(pick_output_file_name_from_input().c_str())) {
      state_message = "Rejected: output file is invalid";
      return false;
    }
    if (output_file.empty()) { return true; }
  }
  if (!is_output_path_allowed(output_file)) {
    state_message = "Rejected: output file name is invalid";
    return false;
  }
  if (output_metadir.empty()) {
    state_message = no_metadir_text;
    return false;
  }
  if (mkdir(output_metadir.c_str(), 0777) != 0 && errno != EEXIST) {
    cancel_with("Unable to mkdir metadir");
    fileops_write_status();
    state_message = no_metadir_text;
    return false;
  }
  return true;
}

bool QueueItem::ready() {
  if (sm.state == TRANSCODE_READY) { return true; }
  if ((sm.state != TRANSCODE_INIT && sm.state != TRANSCODE_CANCELLED) || validate_ready() == 0) {
    return false;
  }
  return ready_from_rest();
}

bool QueueItem::do_user_ready() {
  if (!ready()) { return false; }
  state_message = text_ready;
  fileops_write_status();
  return true;
}

// Back to the start of "ready"; not while anything of an earlier step is left.
bool QueueItem::ready_from_rest() {
  if (is_running()) {
    shutdown_proc();
    state_message = "problem: process/thread still running. Please retry again.";
    return false;
  }
  progress = 0;
  sm.set_state(TRANSCODE_READY);
  sm.ready.set_state(READY_INIT);
  return true;
}
