// Owner and mode of a file in words.
#pragma once

#include <string>

#include <sys/stat.h>

// "0755"
std::string mode_text(mode_t mode);

// The name, or the number where it has none.
std::string user_name(uid_t user);
std::string group_name(gid_t group);

// Who besides root may write to it: "everybody", "group NAME" or "user NAME"; empty if nobody may.
std::string foreign_writer(const struct stat& status);
