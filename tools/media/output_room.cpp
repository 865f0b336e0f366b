#include "tools/media/output_room.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <sys/stat.h>
#include <sys/statvfs.h>

#include "tools/media/size_text.h"

namespace {

namespace fs = std::filesystem;

// A film of still pictures takes a small part of what is expected of its length and size.
constexpr std::uint64_t least_share = 20;

constexpr std::uint64_t block_size = 512;  // of st_blocks

// The highest of the directories above `path` that are on the same device.
std::string mount_point_of(const std::string& path, dev_t device) {
  std::error_code error;
  fs::path found = fs::absolute(path, error).parent_path();
  struct stat status = {};
  while (found.has_relative_path() && stat(found.parent_path().c_str(), &status) == 0 &&
         status.st_dev == device) {
    found = found.parent_path();
  }
  return found.string();
}

std::string figures(const output_room& room, std::uint64_t expected) {
  return "needs about " + size_text(expected) + ", " + size_text(room.bytes) + " are free on " +
         room.file_system;
}

}  // namespace

bool read_output_room(const output_file& output, output_room& room) {
  struct stat file = {};
  struct statvfs disk = {};
  if (fstat(output.fd(), &file) != 0 || fstatvfs(output.fd(), &disk) != 0) { return false; }
  if (disk.f_blocks == 0) { return false; }  // a file system that knows no figures
  room.bytes = std::uint64_t{disk.f_bavail} * disk.f_frsize +
               static_cast<std::uint64_t>(file.st_blocks) * block_size;
  room.file_system = mount_point_of(output.temporary_path(), file.st_dev);
  return true;
}

bool has_room_for(const output_file& output, std::uint64_t bytes) {
  output_room room;
  return !read_output_room(output, room) || room.bytes >= bytes;
}

bool may_find_room(const output_file& output, std::uint64_t expected, std::string& error) {
  output_room room;
  if (!read_output_room(output, room) || room.bytes >= expected / least_share) { return true; }
  error = std::string(std::strerror(ENOSPC)) + ": " + figures(room, expected);
  return false;
}

std::string with_room_needed(const std::string& cause, const output_file& output,
                             std::uint64_t expected) {
  output_room room;
  const bool full = cause.find(std::strerror(ENOSPC)) != std::string::npos ||
                    cause.find(std::strerror(EDQUOT)) != std::string::npos;
  if (!full || !read_output_room(output, room)) { return cause; }
  return cause + ": " + figures(room, expected);
}
