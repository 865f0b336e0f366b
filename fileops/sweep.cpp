#include "fileops/sweep.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "fileops/job_directory.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "platform/trusted_path.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"
#include "queue/transcode_queue.h"
#include "rules/fileops_words.h"

namespace {

constexpr std::size_t status_read_limit = 4095;

// The directory's whole name must be a decimal number; it is reduced to 32 bits like every job id.
bool parse_job_number(const char* name, std::int32_t& number) {
  if (*name == '\0' || name[strspn(name, "0123456789")] != '\0') { return false; }
  number = static_cast<std::int32_t>(strtoull(name, nullptr, 10));
  return true;
}

// The value of the last complete "op" line of a status text; the text is modified.
std::string operation_of(char* text) {
  std::string operation;
  for (char* line = text; char* const end = strchr(line, '\n'); line = end + 1) {
    *end = '\0';
    char* name = nullptr;
    char* value = nullptr;
    divide_name_equ_value_pair(line, &name, &value);
    if (name != nullptr && value != nullptr && strcmp(name, "op") == 0) { operation = value; }
  }
  return operation;
}

// The operation of a job; "" if it has no status. The directory belongs to another subsystem and
// its status may be anything: links are not followed, and a FIFO is not waited for.
std::string read_operation(int jobs_fd, const char* job_name) {
  const unique_fd job = open_job(jobs_fd, job_name);
  const unique_fd file(openat(job.get(), fileops_status_file,
                              O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
  if (file.get() < 0) { return ""; }
  char text[status_read_limit + 1];
  const ssize_t got = read(file.get(), text, status_read_limit);
  text[got < 0 ? 0 : got] = '\0';
  return operation_of(text);
}

void sweep_entry(int jobs_fd, const char* name) {
  std::int32_t number = 0;
  struct stat status {};
  if (!parse_job_number(name, number) ||
      fstatat(jobs_fd, name, &status, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISDIR(status.st_mode) ||
      read_operation(jobs_fd, name) != fileops_operation ||
      transcode_queue_find_fileops_job_id_iterator(number) != transcode_queue.end()) {
    return;
  }
  fprintf(stderr, "vod transcode %d unknown, removing\n", number);
  remove_job(jobs_fd, name, {fileops_status_file, fileops_pid_file});
}

}  // namespace

void markdown_unknown_vod_fileops() {
  unique_fd folder = open_trusted(path_fileops_jobs, O_RDONLY | O_DIRECTORY);
  const unique_dir jobs(folder.valid() ? fdopendir(folder.get()) : nullptr);
  if (!jobs) { return; }
  static_cast<void>(folder.release());
  while (const dirent* entry = readdir(jobs.get())) {
    sweep_entry(dirfd(jobs.get()), entry->d_name);
  }
}
