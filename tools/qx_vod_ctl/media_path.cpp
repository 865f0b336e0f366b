#include "tools/qx_vod_ctl/media_path.h"

#include <cstdlib>
#include <memory>
#include <vector>

#include <unistd.h>

namespace {

void append_components(std::string_view path, std::vector<std::string_view>& components) {
  while (!path.empty()) {
    const auto end = path.find('/');
    const std::string_view component = path.substr(0, end);
    if (component == "..") {
      if (!components.empty()) { components.pop_back(); }
    } else if (!component.empty() && component != ".") {
      components.push_back(component);
    }
    path.remove_prefix(end == std::string_view::npos ? path.size() : end + 1);
  }
}

struct text_freer {
  void operator()(char* text) const { std::free(text); }
};

}  // namespace

std::string absolute_path(std::string_view path, std::string_view folder) {
  if (path.empty() || (path[0] != '/' && folder.empty())) { return ""; }
  std::vector<std::string_view> components;
  if (path[0] != '/') { append_components(folder, components); }
  append_components(path, components);
  std::string absolute;
  for (const auto component : components) {
    absolute.append("/").append(component);
  }
  return absolute.empty() ? "/" : absolute;
}

std::string working_folder() {
  const std::unique_ptr<char, text_freer> folder(get_current_dir_name());
  return folder == nullptr ? "" : folder.get();
}
