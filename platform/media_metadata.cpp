#include "platform/media_metadata.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

double length_of_duration(const char* text) {
  const double length = text == nullptr ? 0 : std::strtod(text, nullptr);
  return std::isfinite(length) && length > 0 && length < longest_media_s ? length : 0;
}

media_metadata::media_metadata(const std::string& path)
    : entries_(metadata_v4_metadata_context_create()) {
  const std::unique_ptr<metadata_v4_context, destroyer> context(metadata_v4_context_create());
  if (!entries_ || !context) {
    error_ = ENOMEM;
  } else if (metadata_v4_context_set_file_location(context.get(), path.c_str()) < 0 ||
             metadata_v4_metadata_context_load_metadata_from_file(entries_.get(), context.get()) <
                 0) {
    error_ = errno;
  }
}

const char* media_metadata::entry(const char* name) const {
  return error_ == 0 ? metadata_v4_metadata_context_read_entry(entries_.get(), name) : nullptr;
}
