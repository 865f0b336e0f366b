#include "tools/qxmi_vod_transcode/encode_task.h"

#include <chrono>

#include "tools/media/engine.h"
#include "tools/media/time_budget.h"
#include "tools/media/tool_config.h"

encode_failure failure_of(const program_result& result, const encode_task& task,
                          const std::string& written_url) {
  if (result.errors.find(written_url) != std::string::npos) {
    return {true, engine_cause(result, written_url)};
  }
  return {false, engine_cause(result, task.source.url())};
}

void supervise(program_request& request, const encode_task& task) {
  request.priority = task.priority;
  set_budget(request, encode_budget(task.media, task.settings));
  request.stall_limit = std::chrono::seconds(configured().stall_seconds);
}
