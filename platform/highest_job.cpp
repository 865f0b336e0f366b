// Lists the job directories once and tracks changes from then on: with tens of thousands of them, a
// listing takes longer than the rest of adding a job.
#include "platform/highest_job.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/paths.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"

namespace {

constexpr std::uint32_t arrivals = IN_CREATE | IN_MOVED_TO;
constexpr std::uint32_t departures = IN_DELETE | IN_MOVED_FROM;
constexpr std::uint32_t losses = IN_Q_OVERFLOW | IN_IGNORED | IN_UNMOUNT;

// Everything known about the folder. Not meaningful while `changes` is invalid.
struct job_folder {
  unique_fd changes;
  pid_t watcher = -1;  // a forked child shares the descriptor but must not read the parent's events
  dev_t device = 0;
  ino_t inode = 0;
  std::int32_t highest = 0;
};

job_folder known;

// Another folder may be mounted or moved there at any time.
bool is_watched(const struct stat& folder) {
  return known.changes.valid() && known.watcher == getpid() && known.device == folder.st_dev &&
         known.inode == folder.st_ino;
}

void watch(const struct stat& folder) {
  known.changes.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  known.watcher = getpid();
  known.device = folder.st_dev;
  known.inode = folder.st_ino;
  if (known.changes.valid() && inotify_add_watch(known.changes.get(), path_fileops_jobs,
                                                 arrivals | departures | IN_ONLYDIR) < 0) {
    known.changes.reset();
  }
}

// Takes in one change. Returns false if the highest id has to be looked up again.
bool take_change(const inotify_event& change, std::int32_t forgettable) {
  if ((change.mask & losses) != 0) { return false; }
  const std::int32_t id = change.len == 0 ? 0 : job_id_of(change.name);
  if ((change.mask & arrivals) != 0) { known.highest = std::max(known.highest, id); }
  return (change.mask & departures) == 0 || id < known.highest || id <= forgettable;
}

bool take_changes(std::int32_t forgettable) {
  alignas(inotify_event) char events[16384];
  ssize_t got = 0;
  while ((got = read(known.changes.get(), events, sizeof(events))) > 0) {
    for (const char* next = events; next < events + got;) {
      const auto* const change = reinterpret_cast<const inotify_event*>(next);
      if (!take_change(*change, forgettable)) { return false; }
      next += sizeof(inotify_event) + change->len;
    }
  }
  return got < 0 && errno == EAGAIN;
}

std::int32_t list_highest() {
  const unique_dir jobs(opendir(path_fileops_jobs));
  if (!jobs) { return -1; }
  std::int32_t highest = 0;
  while (const dirent* const entry = readdir(jobs.get())) {
    highest = std::max(highest, job_id_of(entry->d_name));
  }
  return highest;
}

}  // namespace

// The folder is watched before it is listed, so that no change goes unnoticed in between.
std::int32_t highest_job_id(std::int32_t forgettable) {
  struct stat folder {};
  if (stat(path_fileops_jobs, &folder) != 0) { return -1; }
  if (is_watched(folder) && take_changes(forgettable)) { return known.highest; }
  watch(folder);
  known.highest = list_highest();
  if (known.highest < 0) { known.changes.reset(); }
  return known.highest;
}

std::int32_t job_id_of(const char* name) {
  const std::size_t length = strlen(name);
  constexpr std::size_t most_digits = 10;
  if (length > most_digits || *name == '0' || strspn(name, "0123456789") != length) { return 0; }
  const unsigned long long number = strtoull(name, nullptr, 10);
  return number <= last_job_id ? static_cast<std::int32_t>(number) : 0;
}
