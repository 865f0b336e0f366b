// Follows a local transcode: its progress out of the transcoder's output.
#include "exec/child_output.h"
#include "platform/sliding_window_v4.h"
#include "queue/queue_item.h"
#include "rules/transcoder_contract.h"

void QueueItem::idle_transcoding() {
  if (!is_running()) {
    cancel_with("Transcoding without transcoding");
    fileops_write_status();
    return;
  }
  if (proc_stdout_buffer == nullptr) {
    cancel_with("Transcoding without stdout");
    fileops_write_status();
    return;
  }
  const bool has_output = proc_stdout_read_fd != -1
                              ? proc_stdout_seen
                              : sliding_window_v4_data_available(proc_stdout_buffer) != 0;
  if (!has_output) { return; }
  frame_count count;
  while (const char* line = proc_stdout_getline()) {
    read_progress_line(line, count);
  }
  drop_overlong_line(proc_stdout_buffer);
  if (const auto reached = count.progress()) {
    progress = *reached;
    fileops_write_status();
  }
}
