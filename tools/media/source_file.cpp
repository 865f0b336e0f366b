#include "tools/media/source_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "platform/trusted_path.h"

namespace {

// Pieces of data after which the rest of a file counts as data.
constexpr int most_pieces = 100000;

// A recorder may reserve the room for hours before it has written them.
constexpr std::uint64_t least_holes = std::uint64_t{1} << 30;
constexpr std::uint64_t least_share = 64;

bool refuse(std::string& error, const char* cause) {
  error = cause;
  return false;
}

const char* kind_refused(mode_t mode) {
  if (S_ISDIR(mode)) { return "is a directory"; }
  return S_ISREG(mode) ? nullptr : "is not a regular file";
}

bool same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool same_content(const struct stat& a, const struct stat& b) {
  return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

bool source_file::open(const std::string& path, std::string& error) {
  struct stat before = {};
  if (stat(path.c_str(), &before) != 0) { return refuse(error, std::strerror(errno)); }
  if (const char* cause = kind_refused(before.st_mode)) { return refuse(error, cause); }

  // The file may have been replaced since, hence O_NONBLOCK and the second check.
  unique_fd fd = open_trusted(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!fd.valid() || fstat(fd.get(), &status_) != 0) { return refuse(error, std::strerror(errno)); }
  if (const char* cause = kind_refused(status_.st_mode)) { return refuse(error, cause); }
  if (status_.st_size == 0) { return refuse(error, "is empty"); }
  path_ = path;
  fd_ = std::move(fd);
  return true;
}

// A file system that knows nothing of holes reports one piece, the whole file.
std::uint64_t source_file::data_size() const {
  std::uint64_t sum = 0;
  off_t end = 0;
  for (int piece = 0; piece < most_pieces; ++piece) {
    const off_t begin = lseek(fd(), end, SEEK_DATA);
    if (begin < 0 && errno == ENXIO) { return sum; }
    end = begin < 0 ? -1 : lseek(fd(), begin, SEEK_HOLE);
    if (end < 0) { break; }
    sum += static_cast<std::uint64_t>(end - begin);
  }
  return sum + static_cast<std::uint64_t>(std::max<off_t>(0, size() - std::max<off_t>(0, end)));
}

bool source_file::is_mostly_holes() const {
  const std::uint64_t data = data_size();
  const auto whole = static_cast<std::uint64_t>(size());
  return whole > data + least_holes && data < whole / least_share;
}

bool source_file::is_same_as(const std::string& path) const {
  struct stat other = {};
  return stat(path.c_str(), &other) == 0 && same_file(other, status_);
}

bool source_file::unchanged() const {
  struct stat now = {};
  return stat(path_.c_str(), &now) == 0 && same_file(now, status_) && same_content(now, status_);
}
