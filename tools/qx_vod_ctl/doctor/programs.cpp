#include "tools/qx_vod_ctl/doctor/programs.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "rules/tool_commands.h"
#include "rules/transcoder_contract.h"
#include "tools/media/engine.h"
#include "tools/qx_vod_ctl/doctor/file_owner.h"

namespace {

struct program {
  const char* path;
  const char* purpose;
};

constexpr program local_programs[] = {
    {identifier_program, "files cannot be identified"},
    {transcoder_program, "nothing can be transcoded"},
    {thumbnail_program, "there are no thumbnails"},
    {removal_program, "metadata of sources cannot be removed"},
    {ffmpeg_path, "the tools cannot encode"},
    {ffprobe_path, "the tools cannot inspect files"},
};

constexpr program remote_programs[] = {
    {upload_program, "sources cannot be sent to the remote server"},
    {ftp_client_program, "sources cannot be sent to the remote server"},
    {http_client_program, "the remote server cannot be reached"},
    {download_program, "results cannot be fetched from the remote server"},
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
