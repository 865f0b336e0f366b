#include "tools/qx_vod_ctl/doctor/machine.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "platform/paths.h"
#include "tools/media/size_text.h"
#include "tools/qx_vod_ctl/doctor/file_owner.h"

namespace {

constexpr std::uint64_t megabyte = 1000000;

// Below this the queue file itself is in danger; an hour at the highest usual bit rate, 1080 lines,
// comes to 2.3 GB, and below twice that it is worth a look.
constexpr std::uint64_t too_little = 250 * megabyte;
constexpr std::uint64_t little = 5000 * megabyte;

constexpr const char* platform_folder = "/mnt/main/tv/";

constexpr service_folder folders[] = {
    {"settings", platform_folder, false},
    {"outputs", path_output_dir, true},
    {"jobs", path_fileops_jobs, false},
};

// Root is asked by the kernel; of others it is not known what root may.
bool root_may_not_write(const char* path) {
  return geteuid() == 0 && access(path, W_OK | X_OK) != 0;
}

bool is_folder(const char* path) {
  struct stat status = {};
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// The service makes its folders itself; where the platform's is missing too, a disk may be.
finding judge_missing(const service_folder& folder, int error) {
  const std::string path = folder.path;
  if (error != ENOENT) {
    return problem(folder.check, path + ": " + std::strerror(error),
                   "check the directories above it");
  }
  if (is_folder(platform_folder)) {
    return fine(folder.check, path + " does not exist yet; the service creates it");
  }
  return warning(folder.check, path + " does not exist, nor does " + platform_folder,
                 "mount the disk they belong on; on a new machine, start the service");
}

finding judge_mode(const service_folder& folder, const struct stat& status) {
  const std::string path = folder.path;
  const std::string mode = mode_text(status.st_mode);
  if (folder.open_to_everybody) {
    if ((status.st_mode & 0777) == 0777) {
      return fine(folder.check, path + ", open to everybody");
    }
    return warning(folder.check,
                   path + " has mode " + mode + "; other programs cannot create files there",
                   "chmod 0777 " + path + ", if they should");
  }
  const std::string writer = foreign_writer(status);
  if (writer.empty() || (status.st_mode & S_ISVTX) != 0) {
    return fine(folder.check, path + ", mode " + mode);
  }
  // No more than a warning: where all users are trusted it may be meant.
  return warning(folder.check,
                 path + " can be changed by " + writer +
                     ", who can thus replace the service's files",
                 "unless all users of this machine are trusted: chown root:root " + path +
                     "; chmod 755 " + path);
}

}  // namespace

finding judge_uptime(long uptime_s) {
  if (uptime_s >= uptime_gate_s) { return fine("uptime", "long enough for transcodes to begin"); }
  return warning("uptime",
                 "the machine started " + std::to_string(uptime_s) +
                     " s ago; transcodes begin in " + std::to_string(uptime_gate_s - uptime_s) +
                     " s",
                 "wait; nothing is wrong");
}

bool read_disk_room(const std::string& folder, disk_room& room) {
  struct statvfs status = {};
  if (statvfs(folder.c_str(), &status) != 0) { return false; }
  room.free_bytes = std::uint64_t{status.f_bavail} * status.f_frsize;
  room.size_bytes = std::uint64_t{status.f_blocks} * status.f_frsize;
  room.out_of_files = status.f_files > 0 && status.f_favail == 0;
  room.read_only = (status.f_flag & ST_RDONLY) != 0;
  return true;
}

bool is_nearly_full(const std::string& folder) {
  disk_room room;
  return read_disk_room(folder, room) && !room.read_only &&
         (room.out_of_files || room.free_bytes < too_little);
}

finding judge_disk_room(const std::string& folder, const disk_room& room) {
  const std::string text =
      size_text(room.free_bytes) + " of " + size_text(room.size_bytes) + " are free for " + folder;
  if (room.read_only) {
    return problem("disk", "the file system of " + folder + " is read-only",
                   "check the kernel log for a failing disk, then mount it read-write");
  }
  if (room.out_of_files) {
    return problem("disk", "the file system of " + folder + " is out of inodes",
                   "remove files; their number matters, not their size");
  }
  if (room.free_bytes < too_little) {
    return problem("disk", text, "free up space: transcodes fail, and the queue file can be lost");
  }
  if (room.free_bytes >= little) { return fine("disk", text); }
  return warning("disk", text, "free up space: an hour at 1080 lines takes up to 2.3 GB");
}

finding check_folder(const service_folder& folder) {
  struct stat status = {};
  if (stat(folder.path, &status) != 0) { return judge_missing(folder, errno); }
  if (!S_ISDIR(status.st_mode)) {
    return problem(folder.check, std::string(folder.path) + " is not a directory",
                   "move it away; the service creates the directory");
  }
  if (root_may_not_write(folder.path)) {
    return problem(folder.check,
                   std::string("root cannot write to ") + folder.path + ": " + std::strerror(errno),
                   "mount its file system read-write; a network mount must not map root to nobody");
  }
  return judge_mode(folder, status);
}

namespace {

finding check_disk() {
  disk_room room;
  for (const char* folder : {path_output_dir, platform_folder, "/mnt/main", "/mnt"}) {
    if (read_disk_room(folder, room)) { return judge_disk_room(folder, room); }
  }
  return problem("disk",
                 std::string("the free space cannot be determined: ") + std::strerror(errno),
                 std::string("mount the disk for ") + platform_folder);
}

}  // namespace

finding_list check_machine() {
  finding_list findings;
  struct sysinfo info = {};
  if (sysinfo(&info) == 0) { findings.push_back(judge_uptime(info.uptime)); }
  for (const service_folder& folder : folders) {
    findings.push_back(check_folder(folder));
  }
  findings.push_back(check_disk());
  return findings;
}
