// Whole files, read with a limit since somebody else may have put them there.
#pragma once

#include <cstddef>
#include <string>

#include <sys/stat.h>

struct text_file {
  std::string text;
  struct stat status = {};
  int error = 0;  // errno of what failed; EINVAL for what is not a regular file, EFBIG for too long

  bool read() const { return error == 0; }
  bool missing() const;
  // In words that follow the file's name.
  std::string cause() const;
};

// Reads the regular file `path`, following symbolic links. What is not a regular file is not waited
// for. With EFBIG `text` holds the first `limit` bytes.
text_file read_text_file(const std::string& path, std::size_t limit);

// The same for the file `name` of `folder`, where neither may be a symbolic link: in a folder of
// somebody else a link could lead to what only the caller may read.
text_file read_text_file_without_links(const std::string& folder, const std::string& name,
                                       std::size_t limit);
