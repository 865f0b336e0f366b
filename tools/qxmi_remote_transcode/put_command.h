// The FTP client's command line, and what of a name it can be trusted with.
#pragma once

#include <string>
#include <vector>

#include <sys/stat.h>

// Where the other server looks for what it is sent; a full path there as the downloads' paths are.
constexpr const char* remote_upload_directory = "/mnt/main/tv/upload";

// Whether `name` can be a file's name on the server: 1 to 128 of letters, digits, "-", "_" and
// ".", the first one a letter or digit. The names of jobs are UUIDs.
bool is_upload_name(const std::string& name);

// What is added to the name until the upload is whole. It tells one state of the source from
// another, so that what was sent of an older state is never continued with a newer one.
std::string part_suffix(const struct stat& source);

enum class put_mode {
  resume,   // goes on where an interrupted upload ended
  restart,  // from the beginning, over what there is
};

// Uploads the file behind `link` under the link's own last name; `login` is a login file.
std::vector<std::string> put_command(const std::string& login, const std::string& link,
                                     const std::string& suffix, put_mode mode);
