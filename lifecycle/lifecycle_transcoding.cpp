// Follows a local transcode: its progress out of the transcoder's output.
#include <cstdlib>
#include <cstring>
#include <string>

#include "exec/child_output.h"
#include "platform/sliding_window_v4.h"
#include "queue/queue_item.h"

namespace {

// The last frame count that the output gave.
struct frame_count {
  bool found = false;
  unsigned long long frame = 0;
  unsigned long long total = 0;  // 0 where the output gave none
};

// "frame=N/TOTAL"; a word without a total takes an earlier one back.
void read_word(const std::string& word, frame_count& count) {
  constexpr char key[] = "frame=";
  if (word.compare(0, strlen(key), key) != 0) { return; }
  char* rest = nullptr;
  count.found = true;
  count.frame = strtoull(word.c_str() + strlen(key), &rest, 10);
  count.total = strtoull(rest + (*rest == '/' ? 1 : 0), nullptr, 10);
}

// "Encoding: " and words divided by blanks; any other line tells nothing.
void read_line(const char* line, frame_count& count) {
  constexpr char key[] = "Encoding:";
  if (strncmp(line, key, strlen(key)) != 0) { return; }
  const char* at = line + strlen(key);
  while (*at != '\0') {
    std::size_t const length = strcspn(at, " ");
    read_word(std::string(at, length), count);
    at += length;
    at += strspn(at, " ");
  }
}

}  // namespace

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
    read_line(line, count);
  }
  drop_overlong_line(proc_stdout_buffer);
  if (count.found && count.total != 0) {
    progress = static_cast<std::int32_t>(count.frame * progress_complete / count.total);
    fileops_write_status();
  }
}
