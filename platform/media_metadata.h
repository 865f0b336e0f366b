// Read-only access to the current metadata of one media file.
#pragma once

#include <memory>
#include <string>

#include "platform/metadata_v4.h"

// The longest playing time accepted, in seconds (about eleven days).
constexpr double longest_media_s = 1000000;

// Parses the text of a "duration" entry and returns the length in seconds, or 0 if the text is null
// or not a plausible length: anyone who can write to a folder can write the metadata in it.
double length_of_duration(const char* text);

class media_metadata {
public:
  // Reads the metadata of the media file `path`, which must be absolute. Never blocks, whatever
  // kind of file the metadata turns out to be.
  explicit media_metadata(const std::string& path);

  // 0, or the errno of the failure: ENOENT if the file has no metadata, others as for
  // metadata_v4_metadata_context_load_metadata_from_file.
  int error() const { return error_; }

  // The entry's value, or null if there is none. Valid as long as this object exists.
  const char* entry(const char* name) const;

  // The playing time in seconds, 0 if unknown.
  double length() const { return length_of_duration(entry("duration")); }

private:
  struct destroyer {
    void operator()(metadata_v4_context* context) const { metadata_v4_context_destroy(context); }
    void operator()(metadata_v4_metadata_context* entries) const {
      metadata_v4_metadata_context_destroy(entries);
    }
  };

  std::unique_ptr<metadata_v4_metadata_context, destroyer> entries_;
  int error_ = 0;
};
