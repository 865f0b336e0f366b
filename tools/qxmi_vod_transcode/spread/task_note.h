// The note by which a tool gives its tasks on other machines their work, in the folder of segments.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/qxmi_vod_transcode/source_media.h"
#include "tools/qxmi_vod_transcode/spread/task_ranges.h"

// Its name in the folder.
constexpr const char* task_note_name = "tasks";

// What the tasks have to do.
struct task_note {
  std::string token;  // of this division; no blanks
  std::string source;
  std::string profile;
  int level = 0;  // of priority
  int threads = 1;
  int segment_seconds = 0;
  std::vector<task_range> ranges;
  bool last_is_open = true;  // the last range goes on to the end of the source
  // That the tool has measured: a task need not read all of the source for that, too.
  std::optional<measured_lengths> lengths;
  std::string version = QX_VERSION;  // of the tool
};

// False with errno.
bool write_task_note(int folder, const task_note& note);

// False if there is none that is whole, or one with numbers that no tool writes. errno is 0 unless
// it could not be read.
bool read_task_note(int folder, task_note& note);
