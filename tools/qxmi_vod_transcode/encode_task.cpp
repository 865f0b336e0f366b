#include "tools/qxmi_vod_transcode/encode_task.h"

#include <cerrno>
#include <chrono>
#include <cstring>

#include "tools/media/engine.h"
#include "tools/media/time_budget.h"
#include "tools/media/tool_config.h"

namespace {

constexpr std::uint64_t slowest_look = 1000000;  // bytes per second

}  // namespace

encode_failure failure_of(const program_result& result, const encode_task& task,
                          const std::string& written_url) {
  const bool is_disk_full = result.errors.find(std::strerror(ENOSPC)) != std::string::npos ||
                            result.errors.find(std::strerror(EDQUOT)) != std::string::npos;
  if (is_disk_full || result.errors.find(written_url) != std::string::npos) {
    return {true, engine_cause(result, written_url)};
  }
  return {false, engine_cause(result, task.source.url())};
}

void supervise(program_request& request, const encode_task& task) {
  request.priority = task.priority;
  set_budget(request, encode_budget(task.media, task.settings));
  const std::chrono::seconds patience(configured().stall_seconds);
  // The engine looks as far into the source as its probe did before its first picture.
  const std::chrono::seconds first_look(
      static_cast<std::chrono::seconds::rep>(task.media.depth.bytes / slowest_look));
  request.stall_limit = patience.count() > 0 ? patience + first_look : patience;
}
