#include "rules/output_name.h"

#include <climits>
#include <cstdio>
#include <string_view>

#include "platform/forbidden_area.h"
#include "platform/metadata_v4.h"
#include "platform/paths.h"
#include "platform/text.h"

bool is_output_path_allowed(const std::string& path) {
  constexpr std::string_view folder = path_output_dir;
  if (!begins_with(path, folder)) { return false; }
  const std::size_t name = path.find_first_not_of('/', folder.size());
  return name != std::string::npos && cgi_velmar_forbidden_file_name(path.c_str() + name) == 0;
}

std::optional<std::string> metadata_folder_of_output(const std::string& path) {
  char folder[PATH_MAX];
  if (!is_output_path_allowed(path) ||
      metadata_v4_file_to_metadir(path.c_str(), folder, sizeof(folder)) < 0) {
    return std::nullopt;
  }
  return folder;
}

std::string output_path_for(const std::string& moment, const std::string& profile,
                            const std::string& source_name) {
  char name[PATH_MAX];
  const int length = snprintf(name, sizeof(name), "%s.vod.%s.%s", moment.c_str(), profile.c_str(),
                              source_name.c_str());
  if (length < 0 || static_cast<std::size_t>(length) >= sizeof(name)) { return ""; }
  std::string path = std::string(path_output_dir) + name;
  if (path.substr(path.rfind('.')) != ".mp4") { path += ".mp4"; }
  return path;
}
