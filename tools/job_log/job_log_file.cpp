#include "tools/job_log/job_log_file.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/metadata_v4.h"
#include "platform/trusted_path.h"
#include "platform/unique_fd.h"

namespace {

bool may_be_read(int fd, struct stat& status) {
  return fd >= 0 && fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

std::string read_end(int fd, off_t size, std::size_t limit) {
  const auto whole = static_cast<std::size_t>(size);
  std::string text(std::min(whole, limit), '\0');
  off_t at = static_cast<off_t>(whole - text.size());
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t got = pread(fd, text.data() + done, text.size() - done, at);
    if (got < 0 && errno == EINTR) { continue; }
    if (got <= 0) { break; }
    done += static_cast<std::size_t>(got);
    at += got;
  }
  text.resize(done);
  return text;
}

unique_fd open_log_of(const std::string& media) {
  const std::string folder = metadata_folder_of(media);
  if (folder.empty()) { return {}; }
  const unique_fd place = open_trusted(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
  if (!place.valid()) { return {}; }
  return unique_fd(
      openat(place.get(), job_log_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

struct flock whole_file(short type) {
  struct flock lock = {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

}  // namespace

std::string metadata_folder_of(const std::string& media) {
  char folder[4096];
  std::error_code error;
  const std::string whole = std::filesystem::absolute(media, error).string();
  const bool has_one = metadata_v4_file_to_metadir(whole.c_str(), folder, sizeof folder) >= 0;
  return has_one ? folder : "";
}

std::string read_job_log(const std::string& media, std::size_t limit) {
  const unique_fd file = open_log_of(media);
  struct stat status = {};
  return may_be_read(file.get(), status) ? read_end(file.get(), status.st_size, limit) : "";
}

// Looked at, never taken: readers do not get in each other's way, nor in a tool's.
bool job_log_in_use(const std::string& media) {
  const unique_fd file = open_log_of(media);
  struct flock lock = whole_file(F_WRLCK);
  return file.valid() && fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

void mark_job_log_in_use(int fd) {
  struct flock lock = whole_file(F_RDLCK);
  static_cast<void>(fcntl(fd, F_OFD_SETLK, &lock));
}
