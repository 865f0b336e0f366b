#include "tests/support/tool_plan.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/support/files.h"
#include "tests/support/plan_text.h"

namespace qx_test {

namespace {

// A file "info" has lines of a key, a blank and a value; "fd" lines have a number in between.
void read_info_line(const std::string& line, tool_call& call) {
  const auto blank = line.find(' ');
  if (blank == std::string::npos) { return; }
  const std::string key = line.substr(0, blank);
  const std::string value = line.substr(blank + 1);
  const auto number = std::strtoull(value.c_str(), nullptr, 10);
  if (key == "pid") { call.pid = static_cast<int>(number); }
  if (key == "group") { call.group = static_cast<int>(number); }
  if (key == "session") { call.session = static_cast<int>(number); }
  if (key == "nice") { call.nice = std::atoi(value.c_str()); }
  if (key == "umask") { call.umask = static_cast<unsigned>(number); }
  if (key == "time") { call.time_us = number; }
  if (key == "fd") {
    call.descriptors[static_cast<int>(number)] = value.substr(value.find(' ') + 1);
  }
}

tool_call read_tool_call(const std::filesystem::path& folder) {
  tool_call call;
  call.folder = folder;
  call.name = folder.stem();
  call.number = std::atoi(folder.extension().c_str() + 1);
  call.argv = split_at_nul(read_file(folder / "argv"));
  for (const auto& entry : split_at_nul(read_file(folder / "environment"))) {
    const auto equals = entry.find('=');
    call.environment[entry.substr(0, equals)] = entry.substr(equals + 1);
  }
  for (const auto& line : lines_of(read_file(folder / "info"))) {
    read_info_line(line, call);
  }
  return call;
}

}  // namespace

tool_plan& tool_plan::step(std::string_view verb, const std::vector<std::string_view>& arguments) {
  text_ += verb;
  for (const auto& argument : arguments) {
    text_ += encode_plan_argument(argument);
  }
  text_ += '\n';
  return *this;
}

tool_plan& tool_plan::print(std::string_view bytes) {
  return step("print", {bytes});
}

tool_plan& tool_plan::print_error(std::string_view bytes) {
  return step("print_error", {bytes});
}

tool_plan& tool_plan::fill(unsigned long count) {
  return step("fill", {std::to_string(count)});
}

tool_plan& tool_plan::flood(std::string_view bytes, unsigned long count) {
  return step("flood", {bytes, std::to_string(count)});
}

tool_plan& tool_plan::write(std::string_view path, std::string_view content) {
  return step("write", {path, content});
}

tool_plan& tool_plan::metadata(std::string_view lines) {
  return step("metadata", {lines});
}

tool_plan& tool_plan::remove_trees() {
  return step("remove_trees", {});
}

tool_plan& tool_plan::mark(std::string_view name) {
  return step("mark", {name});
}

tool_plan& tool_plan::wait(std::string_view name) {
  return step("wait", {name});
}

tool_plan& tool_plan::catch_signal(int number) {
  return step("catch", {std::to_string(number)});
}

tool_plan& tool_plan::read_stdin() {
  return step("read_stdin", {});
}

tool_plan& tool_plan::close_stdout() {
  return step("close_stdout", {});
}

tool_plan& tool_plan::grandchild() {
  return step("grandchild", {});
}

tool_plan& tool_plan::hold(std::string_view path, long position) {
  return step("hold", {path, std::to_string(position)});
}

tool_plan& tool_plan::exit(int status) {
  return step("exit", {std::to_string(status)});
}

tool_plan& tool_plan::die(int signal_number) {
  return step("die", {std::to_string(signal_number)});
}

std::vector<int> tool_call::signals() const {
  std::vector<int> numbers;
  for (const auto& line : lines_of(read_file(folder + "/signals"))) {
    numbers.push_back(std::atoi(line.c_str()));
  }
  return numbers;
}

std::string tool_call::stdin_text() const {
  return read_file(folder + "/stdin");
}

int tool_call::grandchild() const {
  const std::string text = read_file(folder + "/grandchild");
  return text.empty() ? -1 : std::atoi(text.c_str());
}

std::vector<tool_call> read_tool_calls(const std::string& calls_folder, std::string_view name) {
  std::vector<tool_call> calls;
  for (const auto& entry : std::filesystem::directory_iterator(calls_folder)) {
    if (!name.empty() && entry.path().stem() != name) { continue; }
    if (exists(entry.path() / "info")) { calls.push_back(read_tool_call(entry.path())); }
  }
  std::sort(calls.begin(), calls.end(),
            [](const tool_call& a, const tool_call& b) { return a.time_us < b.time_us; });
  return calls;
}

}  // namespace qx_test
