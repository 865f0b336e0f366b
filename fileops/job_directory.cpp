#include "fileops/job_directory.h"

#include <fcntl.h>
#include <unistd.h>

unique_fd open_job(int jobs_fd, const char* name) {
  return unique_fd(openat(jobs_fd, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

void remove_job(int jobs_fd, const char* name, std::initializer_list<const char*> files) {
  const unique_fd job = open_job(jobs_fd, name);
  for (const char* const file : files) {
    unlinkat(job.get(), file, 0);
  }
  unlinkat(jobs_fd, name, AT_REMOVEDIR);
}
