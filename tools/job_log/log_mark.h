// Lines of a job's log that open or close the section of a tool's run.
#pragma once

#include <optional>
#include <string_view>

struct log_mark {
  std::string_view time;  // as log_time() writes it
  std::string_view rest;  // the rest of the line after the tool's name
};

// Reads a line "=== 2026-11-22T01:30:00.000Z TOOL ...", where `mark` is job_log_opening or
// job_log_closing. Nothing for any other line, another tool's included.
std::optional<log_mark> read_log_mark(std::string_view line, std::string_view mark,
                                      std::string_view tool);
