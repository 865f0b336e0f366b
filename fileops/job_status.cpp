// A job's status file for the file-operations subsystem, and the summary beside the output.
//
// Both files are rewritten in place, so a reader may briefly see an incomplete one. Other programs
// keep them open or watch them by inode, and would miss a file that is replaced by a rename.
#include <cstdio>

#include "platform/rewrite_file.h"
#include "queue/queue_item.h"
#include "rules/fileops_words.h"
#include "rules/output_name.h"

namespace {

// Sign-extended to 64 bits and printed unsigned, as readers expect.
unsigned long progress_text_value(std::int32_t progress) {
  return static_cast<unsigned long>(static_cast<long>(progress));
}

void write_summary(FILE* file, const QueueItem& item) {
  fprintf(file, "job id=%d\n", item.fileops_job_id);
  fprintf(file, "source file=%s\n", item.input_file.c_str());
  fprintf(file, "transcode progress=%lu/%lu\n", progress_text_value(item.progress),
          progress_text_value(progress_complete));
  fprintf(file, "profile=%s\n", item.transcode_profile.c_str());
  fprintf(file, "job state=%s\n", item.state_message.c_str());
}

// Kept on purpose: "success" is written twice, first the flag that nothing sets, then the one
// derived from the state. Effect: a reader that keeps the last value of a key gets the latter.
void write_status(FILE* file, const QueueItem& item) {
  fprintf(file, "op=%s\n", item.fileops_op.c_str());
  fprintf(file, "state=%s\n", item.state_message.c_str());
  fprintf(file, "paused=%u\n", item.paused ? 1U : 0U);
  fprintf(file, "success=%u\n", item.success ? 1U : 0U);
  fprintf(file, "transfer progress=%d/%d\n", item.progress, progress_complete);
  fprintf(file, "path=%s\n", item.input_dir.c_str());
  fprintf(file, "file progress=0/1\n");
  fprintf(file, "transcode progress=%lu/%lu\n", progress_text_value(item.progress),
          progress_text_value(progress_complete));
  fprintf(file, "transcode state=%s\n", item.sm.state_name());
  fprintf(file, "now transcoding=%s\n", item.input_name.c_str());
  std::size_t const slash = item.output_file.rfind('/');
  if (slash != std::string::npos) {
    fprintf(file, "now transcoding to=%s\n", item.output_file.c_str() + slash + 1);
  }
  fprintf(file, "profile=%s\n", item.transcode_profile.c_str());
  fprintf(file, "success=%u\n", item.sm.state == TRANSCODE_DONE ? 1U : 0U);
  fprintf(file, "entry id=%s\n", item.entry_id.c_str());
}

}  // namespace

bool QueueItem::fileops_write_status() {
  if (!output_metadir.empty()) {
    const unique_rewrite summary = rewrite_file(output_metadir + "/" + summary_file);
    if (summary) { write_summary(summary.get(), *this); }
  }
  if (fileops_job_dir.empty()) { return false; }
  const unique_rewrite status = rewrite_file(fileops_job_dir + "/" + fileops_status_file);
  if (!status) { return false; }
  write_status(status.get(), *this);
  return true;
}
