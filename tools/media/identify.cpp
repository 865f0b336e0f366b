#include "tools/media/identify.h"

#include <unistd.h>

#include "tools/media/engine.h"
#include "tools/media/field_survey.h"
#include "tools/media/item_type.h"
#include "tools/media/magic_type.h"
#include "tools/media/media_probe.h"
#include "tools/media/source_file.h"
#include "tools/media/tool_signals.h"

namespace {

bool refuse(std::string& error, const char* cause) {
  error = cause;
  return false;
}

bool is_empty_file(const std::string& path, struct stat& status) {
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
}

// Whether the probe failed for a reason that says nothing about the file.
bool probe_was_hindered(const std::string& cause) {
  program_result late;
  late.end = program_end::timed_out;
  return stop_signal() != 0 || cause == late.cause() || access(ffprobe_path, X_OK) != 0;
}

// A length that is only estimated is measured; if that fails, the estimate must do.
void settle_duration(const std::string& path, media_info& media) {
  if (!media.duration_estimated || media.still) { return; }
  const video_stream* picture = media.picture();
  const audio_stream* sound = media.sound();
  if (picture == nullptr && sound == nullptr) { return; }
  const int index = picture != nullptr ? picture->index : sound->index;
  const double rate = picture != nullptr ? picture->frame_rate.value() : 0.0;
  double measured = 0.0;
  std::string ignored;
  if (measure_duration(path, media, index, rate, measured, ignored)) { media.duration = measured; }
}

std::string read_head(const source_file& source) {
  char head[head_size];
  const ssize_t count = pread(source.fd(), head, sizeof head, 0);
  return count > 0 ? std::string(head, static_cast<std::size_t>(count)) : std::string();
}

}  // namespace

bool identify(const std::string& path, std::vector<item_entry>& entries, std::string& error) {
  struct stat status = {};
  media_info media;
  if (is_empty_file(path, status)) {
    entries = item_entries(empty_file_type, media, status);
    return true;
  }
  source_file source;
  if (!source.open(path, error)) { return false; }
  if (!probe_media(path, media, error, probe_kinds::stills_too)) {
    if (probe_was_hindered(error)) { return false; }
    media = media_info();
  }
  doubt_lengths(media);
  settle_duration(path, media);
  survey_fields(path, media);
  std::string magic;
  const std::string head = read_head(source);
  if (!magic_type(source.fd(), magic, error)) { return false; }
  if (!source.unchanged()) { return refuse(error, "changed while it was read"); }
  entries = item_entries(item_type(media, head, magic), media, source.status());
  return true;
}
