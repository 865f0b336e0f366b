#include "tools/media/process_runner.h"

#include <algorithm>
#include <utility>

#include <poll.h>

#include "tools/media/supervision.h"
#include "tools/media/tool_signals.h"

namespace {

void wait_for(std::vector<pollfd>& watched) {
  watched.push_back({tool_signal_fd(), POLLIN, 0});
  poll(watched.data(), watched.size(), static_cast<int>(run_observer::tick_interval.count()));
}

program_result run_to_its_end(const program_request& request, run_observer* observer) {
  supervision program(request, observer);
  program.start();
  while (!program.has_ended()) {
    std::vector<pollfd> watched;
    program.begin_tick(watched);
    wait_for(watched);
    program.end_tick();
  }
  return program.result();
}

std::string last_line(std::string_view text) {
  const std::size_t end = text.find_last_not_of(" \r\n");
  if (end == std::string_view::npos) { return {}; }
  text = text.substr(0, end + 1);
  const std::size_t line_feed = text.rfind('\n');
  return std::string(line_feed == std::string_view::npos ? text : text.substr(line_feed + 1));
}

}  // namespace

std::string program_result::cause() const {
  switch (end) {
  case program_end::timed_out:
    return "the time limit has expired";
  case program_end::stalled:
    return "engine stalled";
  case program_end::too_much_output:
    return "too much output";
  case program_end::tool_stopped:
    return "stopped";
  case program_end::given_up:
    return "given up";
  case program_end::not_started:
    return message;
  case program_end::exited:
  case program_end::killed:
    break;
  }
  const std::string line = last_line(errors);
  if (end == program_end::killed) { return line.empty() ? message : message + ": " + line; }
  return line.empty() ? "exit status " + std::to_string(exit_status) : line;
}

program_result run_program(const program_request& request) {
  return run_to_its_end(request, nullptr);
}

program_result run_program(const program_request& request, run_observer& observer) {
  return run_to_its_end(request, &observer);
}

program_group::program_group() = default;
program_group::~program_group() = default;

void program_group::start(program_request request, run_observer& observer) {
  add(std::make_unique<supervision>(std::move(request), &observer));
}

void program_group::start(program_request request) {
  add(std::make_unique<supervision>(std::move(request), nullptr));
}

void program_group::add(std::unique_ptr<supervision> program) {
  running_.push_back(std::move(program));
  running_.back()->start();
}

program_result program_group::wait_for_one(run_observer*& of) {
  while (true) {
    const auto ended = std::find_if(running_.begin(), running_.end(),
                                    [](const auto& program) { return program->has_ended(); });
    if (ended != running_.end()) {
      program_result result = (*ended)->result();
      of = (*ended)->observer();
      running_.erase(ended);
      return result;
    }
    std::vector<pollfd> watched;
    // All of them before the observer of any has something to do.
    read_tool_signals();
    for (const auto& program : running_) {
      program->obey_suspension();
    }
    for (const auto& program : running_) {
      program->begin_tick(watched);
    }
    wait_for(watched);
    for (const auto& program : running_) {
      program->end_tick();
    }
  }
}
