// Fetches the finished file from the remote server, and follows the download tool's progress.
#include "remote/download.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "queue/queue_item.h"
#include "queue/transcode_settings.h"
#include "remote/remote_step.h"

namespace {

constexpr long long size_unknown = -1;

// What the FTP server said of the file that is being downloaded. There is one download at a time.
long long ftp_server_size = size_unknown;

// The size out of a line like "==> SIZE far.mp4 ... 12345", which the download tool prints in the
// same words in every language. Any other line changes nothing.
void read_size_line(const std::string& line, long long& size) {
  constexpr char key[] = "==> SIZE ";
  constexpr char gap[] = " ... ";
  std::size_t const at = line.rfind(gap);
  if (line.compare(0, strlen(key), key) != 0 || at == std::string::npos) { return; }
  std::string const number = line.substr(at + strlen(gap));
  if (!number.empty() && number.find_first_not_of("0123456789") == std::string::npos) {
    size = strtoll(number.c_str(), nullptr, 10);
  }
}

// The gateway of the remote server adds the size of a finished job's output to its document. A
// number that cannot be a file's size is ignored.
long long size_in_document(const json11::Json& document) {
  constexpr double largest = 1ULL << 53U;  // that a JSON number gives exactly
  const double size = document["output size"].number_value();
  const bool is_size = document["output size"].is_number() && size >= 0 && size <= largest;
  return is_size ? static_cast<long long>(size) : size_unknown;
}

// The size of a regular file; unknown for anything else.
long long size_of_file(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size
                                                                      : size_unknown;
}

// The percentage out of a line like " 3150K .......... .......... 2% 1.21M 1m40s": the amount so
// far, the dots, the percentage. False for a line of another form.
bool parse_dot_line(const char* line, std::int32_t& progress) {
  const char* at = line + strspn(line, " ");
  at += strspn(at, "0123456789");
  at += *at == 'K' ? 1 : 0;
  at += strspn(at, " ");
  at += strspn(at, "., ");
  if (*at < '0' || *at > '9') { return false; }
  char* end = nullptr;
  const long percent = strtol(at, &end, 10);
  if (*end != '%') { return false; }
  progress = percent > 100 ? progress_complete : static_cast<std::int32_t>(percent) * 100;
  return true;
}

}  // namespace

void discard_download(const QueueItem& item) {
  if (unlink(item.output_file.c_str()) != 0 && errno != ENOENT) {
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
  // An output that is larger than the result is no part of it, and the download tool would take it
  // for complete.
  const long long far_size = size_in_document(remote_info.json);
  if (far_size != size_unknown && size_of_file(output_file) > far_size) { discard_download(*this); }
  ftp_server_size = size_unknown;
  close_proc_stdin();
  close_proc_stdout();
  if (!open_proc_stdout()) { return false; }
  proc_stderr_to_stdout = true;  // the tool writes its progress there
  proc_argv = {"/usr/bin/wget",
               "--continue",
               "--progress=dot",
               "--output-document=" + output_file,
               "--user=" + transcode_settings.user,
               "--password=" + transcode_settings.password,
               "ftp://" + transcode_settings.address + "/" + remote_item.output_file};
  state_message = "Downloading transcoded file...";
  fileops_write_status();
  return proc_spawn();
}

void QueueItem::read_download_progress() {
  bool changed = false;
  while (const char* line = proc_stdout_getline()) {
    fprintf(stderr, "STDOUT WGET: %s\n", line);
    read_size_line(line, ftp_server_size);
    std::int32_t new_progress = 0;
    if (parse_dot_line(line, new_progress) && new_progress != progress) {
      progress = new_progress;
      changed = true;
    }
  }
  if (changed) { fileops_write_status(); }
}
