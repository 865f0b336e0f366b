#include "platform/queue_copies.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/paths.h"
#include "platform/text.h"
#include "platform/unique_dir.h"

namespace {

constexpr char time_form[] = "%Y%m%dT%H%M%SZ";
constexpr std::size_t time_length = sizeof("20261122T013005Z") - 1;
constexpr mode_t widest_mode = 0640;

std::string path_of_copy(std::time_t when) {
  struct tm parts {};
  char text[64] = "";
  if (gmtime_r(&when, &parts) != nullptr) { strftime(text, sizeof(text), time_form, &parts); }
  return path_queue_copy_prefix + std::string(text);
}

// Returns -1 if the path is not that of a copy.
std::time_t time_of_copy(const std::string& path) {
  const std::size_t prefix_length = strlen(path_queue_copy_prefix);
  if (path.size() != prefix_length + time_length || !begins_with(path, path_queue_copy_prefix)) {
    return -1;
  }
  struct tm parts {};
  const char* const end = strptime(path.c_str() + prefix_length, time_form, &parts);
  return end != nullptr && *end == '\0' ? timegm(&parts) : -1;
}

bool is_empty_file(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
}

// On a full disk, every shutdown leaves an empty queue file; their copies must not displace the one
// that holds jobs.
void remove_oldest(std::vector<std::string> copies) {
  if (copies.size() <= queue_copies_kept) { return; }
  std::stable_partition(copies.begin(), copies.end(), is_empty_file);
  copies.resize(copies.size() - queue_copies_kept);
  for (const auto& copy : copies) {
    unlink(copy.c_str());
  }
}

void take_rights_of_others(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
    // Only the file's owner or root can do this; for any other account it simply fails.
    static_cast<void>(chmod(path.c_str(), status.st_mode & widest_mode) == 0);
  }
}

}  // namespace

std::vector<std::string> queue_file_copies() {
  std::vector<std::string> copies;
  const unique_dir folder(opendir(path_settings_dir));
  if (!folder) { return copies; }
  while (const dirent* const entry = readdir(folder.get())) {
    std::string path = std::string(path_settings_dir) + entry->d_name;
    if (time_of_copy(path) >= 0) { copies.push_back(std::move(path)); }
  }
  std::sort(copies.begin(), copies.end());
  return copies;
}

std::string set_queue_file_aside() {
  const auto copies = queue_file_copies();
  std::time_t when = std::time(nullptr);
  if (!copies.empty()) { when = std::max(when, time_of_copy(copies.back()) + 1); }
  std::string copy = path_of_copy(when);
  if (rename(path_queue_file, copy.c_str()) != 0) { return ""; }
  take_rights_of_others(copy);
  remove_oldest(queue_file_copies());
  return copy;
}
