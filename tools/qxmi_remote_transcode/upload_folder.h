// A directory for one upload that only its owner can enter. It holds a login file, so that the
// password is on no command line, and a link with the file's name on the server, from which the
// client takes that name. Removed with this object; locked until then, so that the next upload and
// the doctor can recognise the directory of a killed one.
#pragma once

#include <string>

#include "tools/media/left_logins.h"

class transcode_settings;

class upload_folder {
public:
  upload_folder() = default;
  ~upload_folder();
  upload_folder(const upload_folder&) = delete;
  upload_folder& operator=(const upload_folder&) = delete;

  // Creates the folder in "/run", which is only in memory, or else in "/tmp". False with the cause
  // in `error`.
  bool create(std::string& error);

  // False with the cause in `error`: the disk, or a value that the client would cut short.
  bool write_login(const class transcode_settings& settings, std::string& error);

  // `source` is open in this process and stays open while the client runs: the client reads that
  // file, even if its name has been given to another. `name` is free of "/".
  bool link(const std::string& name, int source, std::string& error);

  std::string login_path() const { return path_ + "/" + login_file_name; }
  const std::string& link_path() const { return link_; }

private:
  std::string path_;
  unique_fd lock_;
  std::string link_;
};
