#include "tools/job_log/failure.h"

#include <cerrno>
#include <cstring>
#include <iterator>

namespace {

// In the order of the enumeration.
constexpr const char* codes[] = {
    "source-missing",  "source-unreadable", "source-changed", "source-damaged", "not-media",
    "no-such-profile", "disk-full",         "output-refused", "output-busy",    "metadata-refused",
    "engine-missing",  "engine-stalled",    "engine-killed",  "engine-failed",  "not-configured",
    "upload-failed",   "tool-killed"};
static_assert(std::size(codes) == failure_count);

struct wording {
  std::string_view part;
  failure why;
};

// The tools' own words and the engine's, the more special ones first.
constexpr wording wordings[] = {
    {"changed while it was", failure::source_changed},
    {"no such profile", failure::no_such_profile},
    {"does not offer the profile", failure::no_such_profile},
    {"is being written", failure::output_busy},
    {"metadata", failure::metadata_refused},
    {"is the source", failure::output_refused},
    {"the time limit has expired", failure::engine_stalled},
    {"engine stalled", failure::engine_stalled},
    {"has said nothing for", failure::engine_stalled},
    {"ended by ", failure::engine_killed},
    {"Cannot allocate memory", failure::engine_killed},
    {"is not audio or video of a supported kind", failure::not_media},
    {"contains nothing that can be decoded", failure::not_media},
    {"contains neither video nor audio", failure::not_media},
    {"is a directory", failure::not_media},
    {"is not a regular file", failure::not_media},
    {"is empty", failure::not_media},
    {"has no video", failure::no_such_profile},
    {"has no audio", failure::no_such_profile},
    {"ends after", failure::source_damaged},
    {"continues after", failure::source_damaged},
    {"the result", failure::source_damaged},
    {"has no frame at", failure::source_damaged},
    {"of length.max_hours", failure::source_damaged},
    {"is mostly holes", failure::source_damaged},
    {"has no duration", failure::source_damaged},
    {"cannot be drawn as a waveform", failure::source_damaged},
    {"Invalid data", failure::source_damaged},
    {"moov atom not found", failure::source_damaged},
    {"Error while decoding", failure::source_damaged},
    {"End of file", failure::source_damaged},
};

struct system_cause {
  int error;
  failure of_source;
  failure of_output;
};

constexpr system_cause system_causes[] = {
    {ENOSPC, failure::disk_full, failure::disk_full},
    {EDQUOT, failure::disk_full, failure::disk_full},
    {ENOENT, failure::source_missing, failure::output_refused},
    {ENOTDIR, failure::source_missing, failure::output_refused},
    {EACCES, failure::source_unreadable, failure::output_refused},
    {EPERM, failure::source_unreadable, failure::output_refused},
    {EIO, failure::source_unreadable, failure::output_refused},
    {ESTALE, failure::source_unreadable, failure::output_refused},
    {ELOOP, failure::source_unreadable, failure::output_refused},
    {ENAMETOOLONG, failure::source_unreadable, failure::output_refused},
    {EROFS, failure::output_refused, failure::output_refused},
    {EISDIR, failure::not_media, failure::output_refused},
    {EFBIG, failure::output_refused, failure::output_refused},
};

bool holds(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

}  // namespace

const char* failure_code(failure why) {
  return codes[static_cast<std::size_t>(why)];
}

failure failure_of_cause(std::string_view cause, file_role role) {
  for (const wording& known : wordings) {
    if (holds(cause, known.part)) { return known.why; }
  }
  for (const system_cause& known : system_causes) {
    if (!holds(cause, std::strerror(known.error))) { continue; }
    return role == file_role::source ? known.of_source : known.of_output;
  }
  return failure::engine_failed;
}
