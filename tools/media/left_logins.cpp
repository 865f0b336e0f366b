#include "tools/media/left_logins.h"

#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/text.h"
#include "platform/unique_dir.h"

namespace {

enum class folder_fate { kept, removed };

unique_fd open_folder(int place, const char* name) {
  return unique_fd(openat(place, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

bool is_same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// In directories that are open to all, only directories created by this user's tools are touched.
bool is_left_over(int place, const char* name, const unique_fd& folder) {
  struct stat opened = {};
  struct stat named = {};
  return folder.valid() && fstat(folder.get(), &opened) == 0 && opened.st_uid == geteuid() &&
         flock(folder.get(), LOCK_EX | LOCK_NB) == 0 &&
         fstatat(place, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && is_same_file(opened, named);
}

void remove_links(int folder) {
  const unique_dir links(opendir(("/proc/self/fd/" + std::to_string(folder)).c_str()));
  while (const dirent* entry = links ? readdir(links.get()) : nullptr) {
    struct stat status = {};
    const bool is_link = fstatat(folder, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                         S_ISLNK(status.st_mode);
    if (is_link) { unlinkat(folder, entry->d_name, 0); }
  }
}

bool remove_folder(int place, const char* name, int folder) {
  unlinkat(folder, login_file_name, 0);
  const unique_fd links = open_folder(folder, login_link_folder);
  if (links.valid()) { remove_links(links.get()); }
  unlinkat(folder, login_link_folder, AT_REMOVEDIR);
  return unlinkat(place, name, AT_REMOVEDIR) == 0;
}

std::size_t look_through(const char* path, folder_fate fate) {
  std::size_t count = 0;
  const unique_dir place(opendir(path));
  while (const dirent* entry = place ? readdir(place.get()) : nullptr) {
    const char* const name = entry->d_name;
    if (!begins_with(name, login_folder_prefix)) { continue; }
    const int fd = dirfd(place.get());
    const unique_fd folder = open_folder(fd, name);
    if (!is_left_over(fd, name, folder)) { continue; }
    if (fate == folder_fate::kept || remove_folder(fd, name, folder.get())) { ++count; }
  }
  return count;
}

std::size_t look_everywhere(folder_fate fate) {
  std::size_t count = 0;
  for (const char* place : login_folder_places) {
    count += look_through(place, fate);
  }
  return count;
}

}  // namespace

unique_fd take_login_folder(const std::string& path) {
  unique_fd folder = open_folder(AT_FDCWD, path.c_str());
  return is_left_over(AT_FDCWD, path.c_str(), folder) ? std::move(folder) : unique_fd();
}

std::size_t find_left_logins() {
  return look_everywhere(folder_fate::kept);
}

std::size_t remove_left_logins() {
  return look_everywhere(folder_fate::removed);
}
