// Upload progress, taken from /proc: the position at which the FTP client is reading the source.
// The upload tool itself prints nothing while it runs.
#include "remote/upload_progress.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include "exec/source_view.h"
#include "platform/text.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"
#include "queue/queue_item.h"
#include "rules/tool_commands.h"

namespace {

constexpr std::size_t proc_read_limit = 16383;
// Progress is counted in whole mebibytes; a source of at most one mebibyte shows none.
constexpr std::uint64_t smallest_total = 1048577;
constexpr unsigned mebibyte_shift = 20;

bool is_number_name(const char* name) {
  return *name >= '0' && *name <= '9';
}

// True if the target of the link, given relative to `dir_fd`, is exactly `target`.
bool link_is(int dir_fd, const char* name, std::string_view target) {
  char text[proc_read_limit];
  const ssize_t length = readlinkat(dir_fd, name, text, sizeof(text));
  return length >= 0 && std::string_view(text, static_cast<std::size_t>(length)) == target;
}

bool read_position(int process_fd, const char* descriptor, std::uint64_t& position) {
  const unique_fd info(
      openat(process_fd, (std::string("fdinfo/") + descriptor).c_str(), O_RDONLY | O_CLOEXEC));
  if (info.get() < 0) { return false; }
  char text[proc_read_limit];
  const ssize_t length = read(info.get(), text, sizeof(text));
  return length > 0 &&
         find_read_position(std::string_view(text, static_cast<std::size_t>(length)), position);
}

struct best_position {
  bool found = false;
  std::uint64_t bytes = 0;

  void take(std::uint64_t position) {
    bytes = found && bytes > position ? bytes : position;
    found = true;
  }
};

// Examines the open files of one process.
void look_at_process(int process_fd, const std::string& source, best_position& best) {
  unique_fd fd(openat(process_fd, "fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const unique_dir descriptors(fd.valid() ? fdopendir(fd.get()) : nullptr);
  if (!descriptors) { return; }
  const int folder = fd.release();  // closed with `descriptors`
  while (const dirent* entry = readdir(descriptors.get())) {
    std::uint64_t position = 0;
    if (is_number_name(entry->d_name) && link_is(folder, entry->d_name, source) &&
        read_position(process_fd, entry->d_name, position)) {
      best.take(position);
    }
  }
}

// Every FTP client on the machine that has the source open counts, whoever started it.
best_position find_best_position(const std::string& source) {
  best_position best;
  const unique_dir processes(opendir("/proc"));
  if (!processes) { return best; }
  while (const dirent* entry = readdir(processes.get())) {
    if (!is_number_name(entry->d_name) ||
        !link_is(dirfd(processes.get()), (std::string(entry->d_name) + "/exe").c_str(),
                 ftp_client_program)) {
      continue;
    }
    const unique_fd process(
        openat(dirfd(processes.get()), entry->d_name, O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (process.get() >= 0) { look_at_process(process.get(), source, best); }
  }
  return best;
}

}  // namespace

bool find_read_position(std::string_view text, std::uint64_t& position) {
  bool found = false;
  for (std::size_t end = 0; (end = text.find('\n')) != std::string_view::npos;) {
    std::string const line(text.substr(0, end));
    text.remove_prefix(end + 1);
    const char* const entry = line.c_str() + strspn(line.c_str(), " ");
    if (begins_with(entry, "pos:")) {
      std::uint64_t const value = strtoull(entry + 4 + strspn(entry + 4, " "), nullptr, 0);
      position = found && position > value ? position : value;
      found = true;
    }
  }
  return found;
}

void QueueItem::remote_transcode_upload_procfs_read_progress() {
  source_view source(*this);
  std::uint64_t total = 0;
  std::string path;
  if (!is_running() || !source.look() || !source.is_regular_file(total, path) || path.empty()) {
    return;
  }
  const best_position best = find_best_position(path);
  if (!best.found || total < smallest_total) { return; }
  progress = static_cast<std::int32_t>((best.bytes >> mebibyte_shift) * progress_complete /
                                       (total >> mebibyte_shift));
  fileops_write_status();
}
