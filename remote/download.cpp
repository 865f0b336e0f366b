#include "remote/download.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>

#include "platform/transcode_settings.h"
#include "platform/trusted_path.h"
#include "queue/queue_item.h"
#include "remote/download_file.h"
#include "remote/remote_step.h"
#include "rules/download_output.h"
#include "rules/json_keys.h"
#include "rules/tool_commands.h"

namespace {

constexpr long long size_unknown = -1;

// Size of the file being downloaded, as the FTP server announced it. There is one download at a
// time.
long long ftp_server_size = size_unknown;

// Size of a finished job's output, which the remote server's gateway adds to the document. A number
// that cannot be a file size is ignored.
long long size_in_document(const json11::Json& document) {
  constexpr double largest = 1ULL << 53U;  // every integer up to here is exact in a JSON number
  const double size = document[key_output_size].number_value();
  const bool is_size = document[key_output_size].is_number() && size >= 0 && size <= largest;
  return is_size ? static_cast<long long>(size) : size_unknown;
}

// Size of a regular file; unknown for anything else.
long long size_of_file(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size
                                                                      : size_unknown;
}

}  // namespace

bool keeps_own_output(const QueueItem& item) {
  struct stat status {};
  if (lstat(item.output_file.c_str(), &status) != 0) { return errno == ENOENT; }
  if (may_be_download_file(status)) { return true; }
  discard_download(item);
  return false;
}

void discard_download(const QueueItem& item) {
  if (!remove_file(item.output_file) && errno != ENOENT) {
    fprintf(stderr, "Item '%s' (%s) the earlier output '%s' cannot be removed, %s\n",
            item.input_file.c_str(), item.entry_id.c_str(), item.output_file.c_str(),
            strerror(errno));
  }
}

bool has_announced_size(const QueueItem& item) {
  const long long size = size_of_file(item.output_file);
  for (const long long announced : {ftp_server_size, size_in_document(item.remote_info.json)}) {
    if (announced != size_unknown && announced != size) {
      fprintf(stderr, "Item '%s' (%s) the download has %lld bytes, the remote file %lld\n",
              item.input_file.c_str(), item.entry_id.c_str(), size, announced);
      return false;
    }
  }
  return true;
}

bool QueueItem::proc_start_remote_transcode_download() {
  if (!remote_step_may_start(*this) || remote_info.entry_id.empty() || remote_info.json.is_null()) {
    return false;
  }
  QueueItem remote_item;
  if (!read_scratch_item(*this, remote_item) || remote_item.output_file.empty()) { return false; }
  // An existing file larger than the result cannot be the beginning of it, yet the download tool
  // would accept it as complete.
  const long long far_size = size_in_document(remote_info.json);
  if (far_size != size_unknown && size_of_file(output_file) > far_size) { discard_download(*this); }
  ftp_server_size = size_unknown;
  close_proc_stdin();
  close_proc_stdout();
  if (!open_proc_stdout()) { return false; }
  proc_stderr_to_stdout = true;  // the tool writes its progress there
  proc_argv = download_command({output_file, transcode_settings.user, transcode_settings.password,
                                transcode_settings.address, remote_item.output_file});
  state_message = "Downloading transcoded file...";
  fileops_write_status();
  prepare_download_file(output_file);
  return proc_spawn();
}

void QueueItem::read_download_progress() {
  bool changed = false;
  while (const char* line = proc_stdout_getline()) {
    fprintf(stderr, "STDOUT WGET: %s\n", line);
    ftp_server_size = announced_size(line).value_or(ftp_server_size);
    std::int32_t const reached = download_progress(line).value_or(progress);
    changed = changed || reached != progress;
    progress = reached;
  }
  if (changed) { fileops_write_status(); }
}
