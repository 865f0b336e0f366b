// A job's status file for the file-operations subsystem, and the summary beside the output.
//
// Both files are rewritten in place, so a reader may briefly see an incomplete one. Other programs
// keep them open or watch them by inode, and would miss a file that is replaced by a rename.
#include <cstdint>
#include <string>

#include "platform/rewrite_file.h"
#include "queue/queue_item.h"
#include "rules/fileops_words.h"
#include "rules/output_name.h"

namespace {

// Lines of the form "name=value". A text ends at a NUL, as everywhere where it is shown.
class lines {
public:
  lines& add(const char* name, const std::string& value) { return add(name, value.c_str()); }
  lines& add(const char* name, const char* value) {
    text_.append(name).append("=").append(value).append("\n");
    return *this;
  }
  lines& add(const char* name, bool value) { return add(name, value ? "1" : "0"); }
  lines& add(const char* name, std::int32_t value) { return add(name, std::to_string(value)); }

  const std::string& text() const { return text_; }

private:
  std::string text_;
};

// Sign-extended to 64 bits and printed unsigned, as readers expect.
std::string progress_text(std::int32_t progress) {
  return std::to_string(static_cast<std::uint64_t>(static_cast<std::int64_t>(progress))) + "/" +
         std::to_string(progress_complete);
}

std::string summary_of(const QueueItem& item) {
  return lines()
      .add("job id", item.fileops_job_id)
      .add("source file", item.input_file)
      .add("transcode progress", progress_text(item.progress))
      .add("profile", item.transcode_profile)
      .add("job state", item.state_message)
      .text();
}

// Kept on purpose: "success" is written twice, first the flag that nothing sets, then the one
// derived from the state. Effect: a reader that keeps the last value of a key gets the latter.
std::string status_of(const QueueItem& item) {
  lines status;
  status.add("op", item.fileops_op)
      .add("state", item.state_message)
      .add("paused", item.paused)
      .add("success", item.success)
      .add("transfer progress",
           std::to_string(item.progress) + "/" + std::to_string(progress_complete))
      .add("path", item.input_dir)
      .add("file progress", "0/1")
      .add("transcode progress", progress_text(item.progress))
      .add("transcode state", item.sm.state_name())
      .add("now transcoding", item.input_name);
  std::size_t const slash = item.output_file.rfind('/');
  if (slash != std::string::npos) {
    status.add("now transcoding to", item.output_file.c_str() + slash + 1);
  }
  status.add("profile", item.transcode_profile)
      .add("success", item.sm.state == TRANSCODE_DONE)
      .add("entry id", item.entry_id);
  return status.text();
}

}  // namespace

bool QueueItem::fileops_write_status() {
  if (!output_metadir.empty()) {
    rewrite_file(output_metadir + "/" + summary_file, summary_of(*this));
  }
  if (fileops_job_dir.empty()) { return false; }
  return rewrite_file(fileops_job_dir + "/" + fileops_status_file, status_of(*this));
}
