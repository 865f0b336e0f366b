// One transcode and what it works with.
#pragma once

#include <string>

#include "tools/media/process_runner.h"
#include "tools/media/source_file.h"
#include "tools/qxmi_vod_transcode/cpu_cap.h"
#include "tools/qxmi_vod_transcode/encode_command.h"
#include "tools/qxmi_vod_transcode/encode_failure.h"
#include "tools/qxmi_vod_transcode/progress.h"

struct encode_task {
  const source_file& source;
  source_media& media;
  const encode_settings& settings;
  progress_line& line;
  progress_output& progress;
  shared_cap& cap;          // for all engines together
  child_priority priority;  // of each engine
  std::string profile;
};

// The failure of an engine that read the source and wrote to `written_url`.
encode_failure failure_of(const program_result& result, const encode_task& task,
                          const std::string& written_url);

// Fills in what all engines of the task have in common; they are confined.
void supervise(program_request& request, const encode_task& task);

// Called between the steps of work that the tool does itself: obeys its signals, for as long as it
// is suspended, and shows that it is at work. False if it is asked to stop.
bool may_go_on(const encode_task& task);
