// Where an interrupted transcode was resumed, out of the log of its tool.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The tool's notes: "checkpoint: resumed at 63 %, ...", and "checkpoint: starts over: ..." if it
// cannot use what it has resumed.
constexpr const char* checkpoint_note = "checkpoint";
constexpr const char* resumed_words = "resumed at ";
constexpr const char* started_over_words = "starts over";

struct job_resumption {
  int percent = 0;        // how much of the whole was there already
  std::int64_t time = 0;  // when the tool found it, in seconds since 1970
};

// What the transcoder's run with which `log` ends has resumed. Nothing if it has resumed nothing,
// has started over since, or has ended.
std::optional<job_resumption> resumption_in(std::string_view log);

// The same of the transcode that makes `output_file`.
std::optional<job_resumption> find_resumption(const std::string& output_file);

// "resumed at 63 %"
std::string resumption_text(const job_resumption& resumed);
