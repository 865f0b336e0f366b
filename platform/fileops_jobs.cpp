// Allocates job ids by making their directories: mkdir succeeds for only one of the processes that
// try.
#include "platform/fileops_jobs.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "platform/directories.h"
#include "platform/highest_job.h"
#include "platform/paths.h"
#include "platform/trusted_path.h"

namespace {

constexpr std::size_t directory_size = sizeof(path_fileops_jobs) + sizeof("/2147483647");

// The last id allocated by this process. Its directory may be gone, but anyone who still remembers
// the number must not find a different job under it.
std::int32_t last_id = 0;

bool make_job_directory(std::int32_t id) {
  char directory[directory_size];
  return make_directory(cgi_get_fileops_job_directory(id, sizeof(directory), directory), 0777);
}

}  // namespace

std::int32_t new_cgi_fileops_job_id() {
  if (mkdir_p(path_fileops_jobs, 0777, -1) != 0) { return -1; }
  const std::int32_t standing = highest_job_id(last_id);
  if (standing < 0) { return -1; }
  for (std::int32_t id = std::max(standing, last_id); id < last_job_id;) {
    if (make_job_directory(++id)) { return last_id = id; }
    if (errno != EEXIST) { return -1; }
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
