#include "tools/qx_vod_ctl/media_folder.h"

#include <algorithm>
#include <filesystem>

#include "platform/text.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* media_extensions[] = {
    ".3gp", ".aac", ".ac3", ".aif", ".aiff", ".asf",  ".avi",  ".dv",  ".flac",
    ".flv", ".gxf", ".m2p", ".m2t", ".m2ts", ".m2v",  ".m4a",  ".m4v", ".mka",
    ".mkv", ".mov", ".mp2", ".mp3", ".mp4",  ".mpeg", ".mpg",  ".mts", ".mxf",
    ".oga", ".ogg", ".ogv", ".ts",  ".vob",  ".wav",  ".webm", ".wma", ".wmv"};

bool is_named_like_media(const fs::path& file) {
  const std::string extension = lower_case(file.extension().string());
  return std::find(std::begin(media_extensions), std::end(media_extensions), extension) !=
         std::end(media_extensions);
}

bool is_hidden(const fs::path& path) {
  return path.filename().string().substr(0, 1) == ".";
}

void note(const fs::directory_entry& entry, media_folder& folder) {
  std::error_code error;
  if (entry.is_symlink(error) || !entry.is_regular_file(error)) { return; }
  if (is_named_like_media(entry.path())) {
    folder.files.push_back(entry.path().string());
  } else {
    ++folder.skipped;
  }
}

// Notes the files of one folder, and its subfolders as waiting.
void walk(const fs::path& path, media_folder& folder, std::vector<fs::path>& waiting) {
  std::error_code error;
  fs::directory_iterator at(path, error);
  for (; !error && at != fs::directory_iterator(); at.increment(error)) {
    std::error_code unknown;
    if (is_hidden(at->path())) { continue; }
    if (!at->is_symlink(unknown) && at->is_directory(unknown)) {
      waiting.push_back(at->path());
    } else {
      note(*at, folder);
    }
  }
  if (error) { folder.unreadable.emplace_back(path.string(), error.message()); }
}

}  // namespace

media_folder read_media_folder(const std::string& path) {
  media_folder folder;
  std::vector<fs::path> waiting = {path};
  while (!waiting.empty()) {
    const fs::path next = waiting.back();
    waiting.pop_back();
    walk(next, folder, waiting);
  }
  std::sort(folder.files.begin(), folder.files.end());
  std::sort(folder.unreadable.begin(), folder.unreadable.end());
  return folder;
}
