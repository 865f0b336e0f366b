#include "tools/qx_vod_ctl/doctor/file_owner.h"

#include <cstdio>

#include <grp.h>
#include <pwd.h>

std::string mode_text(mode_t mode) {
  char text[16];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
  return text;
}

std::string user_name(uid_t user) {
  const passwd* const known = getpwuid(user);
  return known == nullptr ? std::to_string(user) : known->pw_name;
}

std::string group_name(gid_t group) {
  const struct group* const known = getgrgid(group);
  return known == nullptr ? std::to_string(group) : known->gr_name;
}

std::string foreign_writer(const struct stat& status) {
  if ((status.st_mode & S_IWOTH) != 0) { return "everybody"; }
  if ((status.st_mode & S_IWGRP) != 0 && status.st_gid != 0) {
    return "group " + group_name(status.st_gid);
  }
  return status.st_uid == 0 ? "" : "user " + user_name(status.st_uid);
}
