#include "tools/command_line/command_line.h"

#include <cstdio>

#include "tools/job_log/job_log.h"

namespace {

void print_line(const std::string& line) {
  std::fprintf(stderr, "%s\n", line.c_str());
}

}  // namespace

int report_failure(std::string_view tool, std::string_view file, std::string_view cause) {
  std::string line(tool);
  line.append(": ").append(on_one_line(file)).append(": ").append(on_one_line(cause));
  print_line(line);
  log_failure(file, cause);
  return exit_failure;
}

int report_usage(std::string_view tool, std::string_view cause) {
  print_line(std::string(tool).append(": ").append(on_one_line(cause)));
  log_failure("", cause);
  return exit_usage;
}
