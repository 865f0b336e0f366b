// Why a tool failed, as a short code for people and scripts. docs/failures.md explains what to do
// about each.
#pragma once

#include <string_view>

enum class failure {
  source_missing,
  source_unreadable,
  source_changed,
  source_damaged,
  not_media,
  no_such_profile,
  disk_full,
  output_refused,
  output_busy,
  metadata_refused,
  engine_missing,
  engine_stalled,
  engine_killed,
  engine_failed,
  not_configured,
  upload_failed,
  tool_killed,
};
constexpr int failure_count = 17;

// "source-missing", "disk-full", ...
const char* failure_code(failure why);

// Whether a cause concerns the tool's source or its output.
enum class file_role { source, output };

// The failure described by `cause`, the end of an error line. Unknown causes are attributed to the
// engine, since all others are worded by the tools themselves or by the system.
failure failure_of_cause(std::string_view cause, file_role role);
