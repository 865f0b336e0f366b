#include "tests/support/checkpoint/disk_journal.h"

#include <cstdio>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"

namespace qx_test {

namespace {

constexpr mode_t private_mode = 0600;
constexpr std::size_t longest_file = 1U << 28;

// Of the file `name` in `folder`, or of `folder` itself if the name is empty.
std::string identity_at(int folder, const char* name) {
  struct statx status = {};
  const int flags = AT_SYMLINK_NOFOLLOW | (name[0] == '\0' ? AT_EMPTY_PATH : 0);
  if (statx(folder, name, flags, STATX_INO | STATX_BTIME, &status) != 0) { return {}; }
  return std::to_string(status.stx_ino) + "." + std::to_string(status.stx_btime.tv_sec) + "." +
         std::to_string(status.stx_btime.tv_nsec);
}

const char* kind_of(mode_t mode) {
  return S_ISREG(mode) ? "file" : S_ISDIR(mode) ? "folder" : "other";
}

std::string names_in(int fd) {
  const unique_dir entries(fdopendir(openat(fd, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
  std::string text;
  while (const dirent* entry = entries ? readdir(entries.get()) : nullptr) {
    const std::string name = entry->d_name;
    struct stat status = {};
    if (name == "." || name == ".." ||
        fstatat(fd, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      continue;
    }
    char mode[16];
    std::snprintf(mode, sizeof mode, "%o", status.st_mode & 07777U);
    text += std::string(kind_of(status.st_mode)) + " " + identity_at(fd, name.c_str()) + " " +
            mode + " " + name + "\n";
  }
  return text;
}

// Opened again: the descriptor may be for writing alone.
bool content_of(int fd, std::string& text) {
  const unique_fd file(open(("/proc/self/fd/" + std::to_string(fd)).c_str(), O_RDONLY | O_CLOEXEC));
  return file.valid() && read_all(file.get(), longest_file, text);
}

bool write_file(const std::string& path, int flags, const std::string& text) {
  const unique_fd file(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, private_mode));
  return file.valid() && write_all(file.get(), text);
}

}  // namespace

std::string identity_of(int fd) {
  return identity_at(fd, "");
}

std::string journal_entry(long number) {
  return "entry." + std::to_string(number);
}

bool add_to_journal(const std::string& folder, long number, int fd) {
  struct stat status = {};
  if (fstat(fd, &status) != 0) { return false; }
  std::string text;
  if (S_ISDIR(status.st_mode)) {
    text = names_in(fd);
  } else if (!S_ISREG(status.st_mode)) {
    return true;
  } else if (!content_of(fd, text)) {
    return false;
  }
  // The entry counts once it is listed.
  return write_file(folder + "/" + journal_entry(number), O_EXCL, text) &&
         write_file(folder + "/" + journal_list, O_APPEND,
                    identity_of(fd) + " " + std::to_string(number) + "\n");
}

}  // namespace qx_test
