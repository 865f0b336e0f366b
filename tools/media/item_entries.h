// The metadata entries that this tool writes about a file.
#pragma once

#include <string>
#include <vector>

#include <sys/stat.h>

#include "tools/media/media_info.h"

struct item_entry {
  const char* name;
  std::string value;  // empty where it does not apply or is not known
};

// All entries, always the same names in the same order:
//   "file type"       as given
//   "duration"        seconds with three decimals
//   "width" "height"  as seen by the viewer: after rotation, with square pixels
//   "frame rate"      frames, not fields, per second, with three decimals
//   "interlaced"      1 or 0
//   "video codec" "audio codec" "audio channels"   of the streams worth playing
//   "bit rate"        bits per second of the whole file
//   "size"            bytes
//   "modified"        seconds since 1970
// Frame rate to video codec are only set for video; a still picture has only width and height.
std::vector<item_entry> item_entries(const std::string& type, const media_info& media,
                                     const struct stat& status);
