// Allocates job ids by making their directories: mkdir succeeds for one process only.
#include "platform/fileops_jobs.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include <dirent.h>
#include <sys/stat.h>

#include "platform/directories.h"
#include "platform/paths.h"
#include "platform/unique_dir.h"

namespace {

constexpr std::int32_t highest_id = std::numeric_limits<std::int32_t>::max() - 1;

// The last id that this process handed out: its directory may be gone, its number must not return.
std::int32_t last_id = 0;

// The number that a directory name stands for; 0 for a name that is none.
std::int32_t number_of(char const* name) {
  if (*name == '\0' || name[strspn(name, "0123456789")] != '\0') {
    return 0;
  }
  unsigned long long const number = strtoull(name, nullptr, 10);
  return number > static_cast<unsigned long long>(highest_id) ? 0
                                                              : static_cast<std::int32_t>(number);
}

// The highest id that stands, or -1 when the directory cannot be read.
std::int32_t highest_standing_id() {
  unique_dir const jobs(opendir(path_fileops_jobs));
  if (!jobs) {
    return -1;
  }
  std::int32_t highest = 0;
  while (dirent const* entry = readdir(jobs.get())) {
    highest = std::max(highest, number_of(entry->d_name));
  }
  return highest;
}

}  // namespace

std::int32_t new_cgi_fileops_job_id() {
  if (mkdir_p(path_fileops_jobs, 0777, -1) != 0) {
    return -1;
  }
  std::int32_t const standing = highest_standing_id();
  if (standing < 0) {
    return -1;
  }
  char directory[64];
  for (std::int32_t id = std::max(standing, last_id); id < highest_id;) {
    ++id;
    if (mkdir(cgi_get_fileops_job_directory(id, sizeof(directory), directory), 0777) == 0) {
      last_id = id;
      return id;
    }
    if (errno != EEXIST) {
      return -1;
    }
  }
  errno = EOVERFLOW;
  return -1;
}

char* cgi_get_fileops_job_directory(std::int32_t id, unsigned long size, char* buffer) {
  if (id < 0) {
    return nullptr;
  }
  int const length = snprintf(buffer, size, "%s/%d", path_fileops_jobs, id);
  return length < 0 || static_cast<unsigned long>(length) >= size ? nullptr : buffer;
}
