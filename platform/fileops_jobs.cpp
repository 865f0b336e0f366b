// Allocates job ids by making their directories: of all who try, mkdir succeeds for one.
#include "platform/fileops_jobs.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <sys/stat.h>

#include "platform/directories.h"
#include "platform/paths.h"
#include "platform/unique_dir.h"

namespace {

constexpr std::int32_t highest_id = std::numeric_limits<std::int32_t>::max() - 1;
constexpr std::size_t directory_size = sizeof(path_fileops_jobs) + sizeof("/2147483647");

// The last id that this process was given: its directory may be gone, yet who still knows the
// number must not meet another job under it.
std::int32_t last_id = 0;

// The id that a name stands for; 0 when it is none.
std::int32_t id_of(const char* name) {
  const std::size_t length = strlen(name);
  constexpr std::size_t most_digits = 10;
  if (length > most_digits || *name == '0' || strspn(name, "0123456789") != length) return 0;
  const unsigned long long number = strtoull(name, nullptr, 10);
  return number <= highest_id ? static_cast<std::int32_t>(number) : 0;
}

// 0 when none stands, negative when the jobs cannot be listed.
std::int32_t highest_standing_id() {
  const unique_dir jobs(opendir(path_fileops_jobs));
  if (!jobs) return -1;
  std::int32_t highest = 0;
  while (const dirent* const entry = readdir(jobs.get())) {
    highest = std::max(highest, id_of(entry->d_name));
  }
  return highest;
}

bool make_job_directory(std::int32_t id) {
  char directory[directory_size];
  return mkdir(cgi_get_fileops_job_directory(id, sizeof(directory), directory), 0777) == 0;
}

}  // namespace

std::int32_t new_cgi_fileops_job_id() {
  if (mkdir_p(path_fileops_jobs, 0777, -1) != 0) return -1;
  const std::int32_t standing = highest_standing_id();
  if (standing < 0) return -1;
  for (std::int32_t id = std::max(standing, last_id); id < highest_id;) {
    if (make_job_directory(++id)) return last_id = id;
    if (errno != EEXIST) return -1;
  }
  errno = EOVERFLOW;
  return -1;
}

char* cgi_get_fileops_job_directory(std::int32_t id, unsigned long size, char* buffer) {
  if (id < 0) {
    errno = EINVAL;
    return nullptr;
  }
  const int length = snprintf(buffer, size, "%s/%d", path_fileops_jobs, id);
  if (length < 0 || static_cast<unsigned long>(length) >= size) {
    errno = ERANGE;
    return nullptr;
  }
  return buffer;
}
