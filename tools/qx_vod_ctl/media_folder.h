// The media files below a folder.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

struct media_folder {
  std::vector<std::string> files;  // paths in the order of their names
  std::size_t skipped = 0;         // regular files without a media extension
  // Folders that could not be read to their end, and why: it or some below it.
  std::vector<std::pair<std::string, std::string>> unreadable;
};

// Walks `path` and its subfolders and selects files by their extension; their content is the
// service's business. Hidden files and folders are ignored without being counted, since metadata
// are kept in such; symbolic links are not followed, because the service refuses them.
media_folder read_media_folder(const std::string& path);
