// The metadata of one media file as it stands, for those who only read.
#pragma once

#include <memory>
#include <string>

#include "platform/metadata_v4.h"

// No media play longer than this, in seconds: eleven days.
constexpr double longest_media_s = 1000000;

// The length in seconds that the text of an entry "duration" tells; 0 for null, and for what is no
// length that media have: whoever may write to a folder may write its metadata.
double length_of_duration(const char* text);

class media_metadata {
public:
  // Reads the metadata of the media file `path`, absolute. Never blocks on what stands there.
  explicit media_metadata(const std::string& path);

  // 0, or the errno of the failure: ENOENT where the file has none, others as of
  // metadata_v4_metadata_context_load_metadata_from_file.
  int error() const { return error_; }

  // The entry's value, null when there is none. Lives as long as this object.
  const char* entry(const char* name) const;

  // How long the media play in seconds, 0 where that is not told.
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
