// A job's status file for the file-operations subsystem, and the summary beside the output.
//
// Both files are rewritten in place, so a reader may briefly see an incomplete one. Other programs
// keep them open or watch them by inode, and would miss a file that is replaced by a rename.
#include <cstdint>
#include <string>

#include "platform/formatted.h"
#include "platform/rewrite_file.h"
#include "queue/queue_item.h"
#include "rules/fileops_words.h"
#include "rules/output_name.h"

namespace {

// Sign-extended to 64 bits and printed unsigned, as readers expect.
std::string progress_line(std::int32_t progress) {
  return formatted("transcode progress=%lu/%lu\n",
                   static_cast<unsigned long>(static_cast<long>(progress)),
                   static_cast<unsigned long>(progress_complete));
}

std::string summary_of(const QueueItem& item) {
  return formatted("job id=%d\n", item.fileops_job_id) +
         formatted("source file=%s\n", item.input_file.c_str()) + progress_line(item.progress) +
         formatted("profile=%s\n", item.transcode_profile.c_str()) +
         formatted("job state=%s\n", item.state_message.c_str());
}

std::string output_line(const QueueItem& item) {
  std::size_t const slash = item.output_file.rfind('/');
  if (slash == std::string::npos) { return {}; }
  return formatted("now transcoding to=%s\n", item.output_file.c_str() + slash + 1);
}

// Kept on purpose: "success" is written twice, first the flag that nothing sets, then the one
// derived from the state. Effect: a reader that keeps the last value of a key gets the latter.
std::string status_of(const QueueItem& item) {
  return formatted("op=%s\n", item.fileops_op.c_str()) +
         formatted("state=%s\n", item.state_message.c_str()) +
         formatted("paused=%u\n", item.paused ? 1U : 0U) +
         formatted("success=%u\n", item.success ? 1U : 0U) +
         formatted("transfer progress=%d/%d\n", item.progress, progress_complete) +
         formatted("path=%s\n", item.input_dir.c_str()) + "file progress=0/1\n" +
         progress_line(item.progress) + formatted("transcode state=%s\n", item.sm.state_name()) +
         formatted("now transcoding=%s\n", item.input_name.c_str()) + output_line(item) +
         formatted("profile=%s\n", item.transcode_profile.c_str()) +
         formatted("success=%u\n", item.sm.state == TRANSCODE_DONE ? 1U : 0U) +
         formatted("entry id=%s\n", item.entry_id.c_str());
}

}  // namespace

bool QueueItem::fileops_write_status() {
  if (!output_metadir.empty()) {
    rewrite_file(output_metadir + "/" + summary_file, summary_of(*this));
  }
  if (fileops_job_dir.empty()) { return false; }
  return rewrite_file(fileops_job_dir + "/" + fileops_status_file, status_of(*this));
}
