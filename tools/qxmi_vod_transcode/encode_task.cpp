#include "tools/qxmi_vod_transcode/encode_task.h"

#include <chrono>

#include <poll.h>

#include "tools/media/engine.h"
#include "tools/media/time_budget.h"
#include "tools/media/tool_config.h"
#include "tools/media/tool_signals.h"

namespace {

constexpr std::int64_t slowest_look = 1000000;  // bytes per second
constexpr int suspended_tick_ms = 1000;

}  // namespace

encode_failure failure_of(const program_result& result, const encode_task& task,
                          const std::string& written_url) {
  const bool is_disk_full = lacks_room(result.errors);
  encode_failure failure;
  failure.of_output = is_disk_full || result.errors.find(written_url) != std::string::npos;
  failure.cause = engine_cause(result, failure.of_output ? written_url : task.source.url());
  failure.interrupted = !is_disk_full && is_interruption(result);
  return failure;
}

void supervise(program_request& request, const encode_task& task) {
  request.priority = task.priority;
  set_budget(request, encode_budget(task.media, task.settings));
  const std::chrono::seconds patience(configured().stall_seconds);
  // The engine looks as far into the source as its probe did before its first picture.
  const std::chrono::seconds first_look(task.media.depth.bytes / slowest_look);
  request.stall_limit = patience.count() > 0 ? patience + first_look : patience;
}

bool may_go_on(const encode_task& task) {
  read_tool_signals();
  while (suspend_wanted() && stop_signal() == 0) {
    pollfd signals = {tool_signal_fd(), POLLIN, 0};
    poll(&signals, 1, suspended_tick_ms);
    read_tool_signals();
  }
  if (task.line.done() > 0 && task.progress.due()) { task.progress.write_line(task.line.text()); }
  return stop_signal() == 0;
}
