// The policy of allowed places.
#include "platform/forbidden_area.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

#include "platform/metadata_v4.h"
#include "platform/paths.h"
#include "platform/text.h"
#include "platform/unique_file.h"

namespace {

constexpr unsigned forbidden_path_bit = 0x1;
constexpr unsigned forbidden_fd_bit = 0x200;
constexpr std::size_t max_path_length = 4095;
constexpr std::size_t max_name_length = 255;

constexpr std::string_view system_directories[] = {"/bin",   "/boot", "/dev",  "/etc", "/lib",
                                                   "/lib64", "/proc", "/root", "/run", "/sbin",
                                                   "/sys",   "/usr",  "/var"};

bool begins_with(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

// True when `path` is `directory` or lies below it; neither ends with a slash.
bool is_at_or_below(std::string_view path, std::string_view directory) {
  return begins_with(path, directory) &&
         (path.size() == directory.size() || path[directory.size()] == '/');
}

bool has_control_character(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    auto const byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
  });
}

// Absolute, and no component that is empty, "." or "..".
bool is_plain_absolute(std::string_view path) {
  if (path.empty() || path.front() != '/' || path.size() > max_path_length ||
      has_control_character(path)) {
    return false;
  }
  for (std::size_t begin = 1; begin <= path.size();) {
    std::size_t const end = std::min(path.find('/', begin), path.size());
    std::string_view const component = path.substr(begin, end - begin);
    if (component.empty() || component == "." || component == "..") {
      return false;
    }
    begin = end + 1;
  }
  return true;
}

bool is_acceptable_root(std::string const& root) {
  return is_plain_absolute(root) &&
         std::none_of(std::begin(system_directories), std::end(system_directories),
                      [&root](std::string_view dir) { return is_at_or_below(root, dir); });
}

void add_listed_roots(std::vector<std::string>& roots) {
  unique_file const file(fopen(path_media_roots, "re"));
  char line[max_path_length + 2];
  while (file && fgets(line, sizeof(line), file.get()) != nullptr) {
    std::string root = chomp(line);
    root.erase(0, root.find_first_not_of(" \t"));
    root.erase(root.find_last_not_of(" \t") + 1);
    if (root.empty() || root.front() == '#') {
      continue;
    }
    while (root.size() > 1 && root.back() == '/') {
      root.pop_back();
    }
    if (is_acceptable_root(root)) {
      roots.push_back(root);
    } else {
      fprintf(stderr, "%s: '%s' cannot be a media root, ignored\n", path_media_roots, root.c_str());
    }
  }
}

std::vector<std::string> const& allowed_roots() {
  static std::vector<std::string> const roots = [] {
    std::vector<std::string> list{"/mnt", "/media", "/srv"};
    add_listed_roots(list);
    return list;
  }();
  return roots;
}

bool is_own_file(std::string_view path) {
  std::string const queue_file = path_queue_file;
  std::string_view const fileops(path_fileops_dir, strlen(path_fileops_dir) - 1);
  return is_at_or_below(path, fileops) || path == path_vod_conf || path == queue_file ||
         path == queue_file + ".tmp";
}

bool is_allowed_directory(std::string_view path) {
  auto const& roots = allowed_roots();
  return is_plain_absolute(path) && !is_own_file(path) &&
         std::any_of(roots.begin(), roots.end(),
                     [path](std::string const& root) { return is_at_or_below(path, root); });
}

// A root itself is no media.
bool is_allowed_path(std::string_view path) {
  auto const& roots = allowed_roots();
  return is_allowed_directory(path) && std::find(roots.begin(), roots.end(), path) == roots.end();
}

}  // namespace

unsigned cgi_velmar_forbidden_area(char const* path, unsigned) {
  return is_allowed_path(path) ? 0 : forbidden_path_bit;
}

unsigned cgi_velmar_forbidden_area_fd(int fd, unsigned) {
  char target[PATH_MAX];
  std::string const link = "/proc/self/fd/" + std::to_string(fd);
  ssize_t const length = readlink(link.c_str(), target, sizeof(target));
  bool const allowed =
      length > 0 && static_cast<std::size_t>(length) < sizeof(target) &&
      is_allowed_directory(std::string_view(target, static_cast<std::size_t>(length)));
  return allowed ? 0 : forbidden_fd_bit;
}

int cgi_velmar_forbidden_file_name(char const* name) {
  std::string_view const text = name;
  return text.empty() || text.size() > max_name_length || text.front() == '.' ||
                 text.find('/') != std::string_view::npos || has_control_character(text)
             ? 1
             : 0;
}
