// Where a browser finds a VOD.
#pragma once

#include <string>

// The folder of the VODs, and what stands in front of a VOD's name in its address.
struct vod_folder {
  std::string path;          // ends with a slash
  std::string url = "vod/";  // relative to the page
};

// The address of a VOD, percent-encoded. "" unless `output` lies directly in the folder, is an .mp4
// under a name that is not hidden, and can be read: the gateway runs as the web server does.
std::string vod_url(const vod_folder& folder, const std::string& output);

// The same for the VOD's thumbnail.
std::string thumbnail_url(const vod_folder& folder, const std::string& output);
