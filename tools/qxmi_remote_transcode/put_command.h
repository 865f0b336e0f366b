// The FTP client's command line, and what of a name it can be trusted with.
#pragma once

#include <string>
#include <vector>

#include <sys/stat.h>

// The directory in which the remote server expects uploads; a full path, like those of downloads.
constexpr const char* remote_upload_directory = "/mnt/main/tv/upload";

// Whether `name` can be a file's name on the server: 1 to 128 of letters, digits, "-", "_" and
// ".", the first one a letter or digit. The names of jobs are UUIDs.
bool is_upload_name(const std::string& name);

// A suffix of the name until the upload is complete. It identifies the state of the source, so that
// an upload of an older state is never continued with a newer one.
std::string part_suffix(const struct stat& source);

enum class put_mode {
  resume,   // continues where an interrupted upload ended
  restart,  // from the beginning, over what there is
};

// Uploads the target of `link` under the link's own name; `login` is a login file.
std::vector<std::string> put_command(const std::string& login, const std::string& link,
                                     const std::string& suffix, put_mode mode);
