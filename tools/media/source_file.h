// A media file as the source of a tool's work: looked at before any engine reads it, and known
// again afterwards.
#pragma once

#include <cstdint>
#include <string>

#include <sys/stat.h>

#include "platform/unique_fd.h"

class source_file {
public:
  // Opens `path` when it is a regular file that can be read; a symbolic link is followed. A FIFO,
  // device or socket is refused without being opened for input, which would block or act. False
  // with the cause in `error`.
  bool open(const std::string& path, std::string& error);

  // The name it was opened under.
  const std::string& path() const { return path_; }

  // The URL of this file for a sandboxed engine: the file that was opened here, even if its name
  // has changed.
  std::string url() const { return "file:/proc/self/fd/" + std::to_string(fd_.get()); }

  int fd() const { return fd_.get(); }
  off_t size() const { return status_.st_size; }

  // The bytes that its file system stores; the rest of the size are holes, which read as zeros.
  std::uint64_t data_size() const;

  // Whether there is so little data in a large file that reading it would be a waste of time.
  bool is_mostly_holes() const;

  const struct stat& status() const { return status_; }

  // True if `path` leads to the same file, whatever its name.
  bool is_same_as(const std::string& path) const;

  // True while the name still leads to the same file with the same size and time of change, so
  // that what an engine read was one and the same thing from beginning to end.
  bool unchanged() const;

private:
  std::string path_;
  unique_fd fd_;
  struct stat status_ = {};
};
