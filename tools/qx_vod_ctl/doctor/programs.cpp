// The programs that the service starts.
#include "tools/qx_vod_ctl/doctor/programs.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "tools/media/engine.h"
#include "tools/qx_vod_ctl/doctor/file_owner.h"

namespace {

struct program {
  const char* path;
  const char* purpose;
};

constexpr program local_programs[] = {
    {"/usr/bin/qxmi_startitem", "files cannot be identified"},
    {"/usr/bin/qxmi_vod_transcode", "nothing can be transcoded"},
    {"/usr/bin/qxmi_grab", "there are no thumbnails"},
    {"/bin/rm", "metadata of sources cannot be removed"},
    {ffmpeg_path, "the tools cannot encode"},
    {ffprobe_path, "the tools cannot inspect files"},
};

constexpr program remote_programs[] = {
    {"/usr/bin/qxmi_remote_transcode", "sources cannot be sent to the remote server"},
    {"/usr/bin/ncftpput", "sources cannot be sent to the remote server"},
    {"/usr/bin/curl", "the remote server cannot be reached"},
    {"/usr/bin/wget", "results cannot be fetched from the remote server"},
};

std::string base_name(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

finding check_program(const std::string& path, const std::string& purpose) {
  const std::string name = base_name(path);
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    return problem(name, path + ": " + std::strerror(errno) + "; without it " + purpose,
                   "install it, or the package that contains it");
  }
  if (!S_ISREG(status.st_mode) || (status.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) == 0) {
    return problem(name, path + " cannot be executed; without it " + purpose,
                   S_ISREG(status.st_mode) ? "chmod 755 " + path : "replace it with the program");
  }
  const std::string writer = foreign_writer(status);
  if (!writer.empty()) {
    return problem(name,
                   path + " can be changed by " + writer + ", and the service runs it as root",
                   "chown root:root " + path + "; chmod 755 " + path);
  }
  return fine(name, path);
}

finding_list check_programs(bool remote) {
  finding_list findings;
  for (const program& needed : local_programs) {
    findings.push_back(check_program(needed.path, needed.purpose));
  }
  if (!remote) { return findings; }
  for (const program& needed : remote_programs) {
    findings.push_back(check_program(needed.path, needed.purpose));
  }
  return findings;
}
