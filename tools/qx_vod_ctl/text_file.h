// Reads whole files, with a limit because they may come from others.
#pragma once

#include <cstddef>
#include <string>

#include <sys/stat.h>

struct text_file {
  std::string text;
  struct stat status = {};
  int error =
      0;  // errno of the failure; EINVAL if it is not a regular file, EFBIG if it is too long

  bool read() const { return error == 0; }
  bool missing() const;
  // In words that follow the file's name.
  std::string cause() const;
};

// Reads the regular file `path`, following symbolic links. Does not block on other kinds of files.
// With EFBIG `text` holds the first `limit` bytes.
text_file read_text_file(const std::string& path, std::size_t limit);

// The same for the file `name` of `folder`, where neither may be a symbolic link: in another user's
// folder a link could lead to a file that only the caller may read.
text_file read_text_file_without_links(const std::string& folder, const std::string& name,
                                       std::size_t limit);
