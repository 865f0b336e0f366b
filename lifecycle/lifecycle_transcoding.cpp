// Follows a local transcode: reads its progress from the transcoder's output.
#include "exec/child_output.h"
#include "exec/fail.h"
#include "lifecycle/phases.h"
#include "platform/sliding_window_v4.h"
#include "queue/queue_item.h"
#include "rules/transcoder_contract.h"

void idle_transcoding(QueueItem& item) {
  if (!item.is_running()) {
    fail(item, "Transcoding without transcoding");
    return;
  }
  if (item.proc_stdout_buffer == nullptr) {
    fail(item, "Transcoding without stdout");
    return;
  }
  const bool has_output = item.proc_stdout_read_fd != -1
                              ? item.proc_stdout_seen
                              : sliding_window_v4_data_available(item.proc_stdout_buffer) != 0;
  if (!has_output) { return; }
  frame_count count;
  while (const char* line = item.proc_stdout_getline()) {
    read_progress_line(line, count);
  }
  drop_overlong_line(item.proc_stdout_buffer);
  if (const auto reached = count.progress()) {
    item.progress = *reached;
    item.fileops_write_status();
  }
}
