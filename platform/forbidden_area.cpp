#include "platform/forbidden_area.h"

#include <algorithm>
#include <climits>
#include <iterator>
#include <string>
#include <string_view>

#include <unistd.h>

#include "platform/media_roots.h"
#include "platform/paths.h"

namespace {

// The platform's own files and directories, which lie among the media.
constexpr std::string_view own_places[] = {
    std::string_view(path_fileops_dir).substr(0, sizeof(path_fileops_dir) - 2),
    path_vod_conf,
    path_queue_file,
    path_queue_file_temporary,
    path_media_roots,
};

// Copies of queue files lie next to the queue file; their names begin like its name.
bool is_queue_copy(std::string_view path) {
  constexpr std::string_view prefix = path_queue_copy_prefix;
  return path.substr(0, prefix.size()) == prefix;
}

template <typename Condition>
bool is_any_own_place(Condition condition) {
  return std::any_of(std::begin(own_places), std::end(own_places), condition);
}

template <typename Condition>
bool is_any_root(Condition condition) {
  return std::any_of(media_roots().begin(), media_roots().end(), condition);
}

// A media file may be removed after its transcode, and it may be a directory, so a path that
// contains one of the platform's own places is refused too.
bool is_allowed_path(std::string_view path) {
  return is_plain_path(path) && is_any_root([path](std::string_view root) {
           return path != root && is_at_or_below(path, root);
         }) &&
         !is_queue_copy(path) && !is_any_own_place([path](std::string_view own) {
           return is_at_or_below(path, own) || is_at_or_below(own, path);
         });
}

// Media may lie directly in a root, next to the platform's own files.
bool is_allowed_directory(std::string_view path) {
  return is_plain_path(path) &&
         is_any_root([path](std::string_view root) { return is_at_or_below(path, root); }) &&
         !is_any_own_place([path](std::string_view own) { return is_at_or_below(path, own); });
}

}  // namespace

unsigned cgi_velmar_forbidden_area(const char* path, unsigned /*flags*/) {
  return is_allowed_path(path) ? 0 : velmar_forbidden_path;
}

unsigned cgi_velmar_forbidden_area_fd(int fd, unsigned /*flags*/) {
  char target[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  const ssize_t length = readlink(link.c_str(), target, sizeof(target));
  const bool is_whole = length > 0 && static_cast<std::size_t>(length) < sizeof(target);
  return is_whole && is_allowed_directory({target, static_cast<std::size_t>(length)})
             ? 0
             : velmar_forbidden_directory;
}

// The name of a metadata directory begins with ".", so it needs no separate test.
int cgi_velmar_forbidden_file_name(const char* name) {
  const std::string_view text = name;
  const bool is_allowed = !text.empty() && text.size() <= NAME_MAX && text.front() != '.' &&
                          text.find('/') == std::string_view::npos && !has_control_character(text);
  return is_allowed ? 0 : 1;
}
