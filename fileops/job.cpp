// A job's directory in the file-operations subsystem: creating and removing it.
#include <string>

#include <unistd.h>

#include "fileops/job_directory.h"
#include "platform/fileops_jobs.h"
#include "platform/formatted.h"
#include "platform/rewrite_file.h"
#include "platform/trusted_path.h"
#include "queue/queue_item.h"
#include "rules/fileops_words.h"

namespace {

// Records which process works on the job. A failure is ignored: the job's state matters more.
void write_copy_pid(const std::string& job_dir) {
  rewrite_file(job_dir + "/" + fileops_pid_file,
               formatted("%lu\n", static_cast<unsigned long>(getpid())));
}

}  // namespace

bool QueueItem::init_fileops_job() {
  if (!fileops_job_dir.empty()) { return true; }
  std::int32_t const id = new_cgi_fileops_job_id();
  if (id < 0) {
    state_message = "Rejected: unable to create job id";
    return false;
  }
  if (!set_fileops_job_id(id)) {
    state_message = "Rejected: unable to set job id";
    return false;
  }
  fileops_op = fileops_operation;
  write_copy_pid(fileops_job_dir);
  fileops_write_status();
  return true;
}

void QueueItem::fileops_remove_job() {
  std::string name;
  const unique_fd jobs = open_directory_of(fileops_job_dir, name);
  remove_job(jobs.get(), name.c_str(), {fileops_pid_file, fileops_status_file});
  fileops_job_dir.clear();
}
