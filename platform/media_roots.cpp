#include "platform/media_roots.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <fcntl.h>

#include "platform/paths.h"
#include "platform/small_file.h"

namespace {

constexpr std::size_t longest_path = PATH_MAX - 1;
constexpr std::size_t largest_list = std::size_t{64} << 10;  // bytes
constexpr std::string_view blanks = " \t\r";

// A media tree in one of these would put the system itself within reach of anyone who submits jobs.
constexpr std::string_view system_directories[] = {"/bin",   "/boot", "/dev",  "/etc", "/lib",
                                                   "/lib64", "/proc", "/root", "/run", "/sbin",
                                                   "/sys",   "/usr",  "/var"};

// An empty root, which "/" becomes here, is not plain.
bool may_be_root(std::string_view root) {
  return is_plain_path(root) &&
         std::none_of(
             std::begin(system_directories), std::end(system_directories),
             [root](std::string_view directory) { return is_at_or_below(root, directory); });
}

// The line without surrounding blanks; empty for a comment.
std::string_view content_of(std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
  line = line.substr(0, line.find_last_not_of(blanks) + 1);
  return line.substr(0, 1) == "#" ? std::string_view() : line;
}

void add_listed_root(std::vector<std::string>& roots, std::string_view line) {
  const std::string_view content = content_of(line);
  if (content.empty()) { return; }
  const std::string root(content.substr(0, content.size() - (content.back() == '/' ? 1 : 0)));
  if (may_be_root(root)) {
    roots.push_back(root);
  } else {
    fprintf(stderr, "%s: '%s' cannot be a media root, ignored\n", path_media_roots,
            std::string(content).c_str());
  }
}

std::vector<std::string> read_roots() {
  std::vector<std::string> roots{"/mnt", "/media", "/srv"};
  std::string list;
  if (!read_small_file(AT_FDCWD, path_media_roots, largest_list, list)) {
    if (errno != ENOENT) { fprintf(stderr, "%s ignored, %s\n", path_media_roots, strerror(errno)); }
    return roots;
  }
  add_listed_roots(roots, list);
  return roots;
}

}  // namespace

void add_listed_roots(std::vector<std::string>& roots, std::string_view list) {
  for (std::size_t begin = 0; begin < list.size();) {
    const std::size_t end = std::min(list.find('\n', begin), list.size());
    add_listed_root(roots, list.substr(begin, end - begin));
    begin = end + 1;
  }
}

bool has_control_character(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
  });
}

bool is_plain_path(std::string_view path) {
  if (path.substr(0, 1) != "/" || path.size() > longest_path || has_control_character(path)) {
    return false;
  }
  for (std::size_t begin = 1; begin <= path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string_view component = path.substr(begin, end - begin);
    if (component.empty() || component == "." || component == "..") { return false; }
    begin = end + 1;
  }
  return true;
}

bool is_at_or_below(std::string_view path, std::string_view directory) {
  return path.substr(0, directory.size()) == directory &&
         (path.size() == directory.size() || path[directory.size()] == '/');
}

const std::vector<std::string>& media_roots() {
  static const std::vector<std::string> roots = read_roots();
  return roots;
}
