// A file that is written under a temporary name and renamed once it is complete, so that readers
// see all of it or nothing.
#pragma once

#include <string>
#include <string_view>

#include <fcntl.h>

#include "platform/unique_fd.h"

class replacement_file {
public:
  // Creates a file with a unique name, `prefix` plus six random characters, that only its owner can
  // read and write.
  static replacement_file with_random_name(std::string prefix);

  replacement_file() = default;
  // Takes ownership of `file`, which is open for writing and has the name `name` in the directory
  // `directory_fd`. That descriptor still belongs to the caller and must outlive this object. If
  // `file` is invalid, so is this object, and it removes nothing.
  replacement_file(unique_fd file, std::string name, int directory_fd = AT_FDCWD);
  // Removes the file if it still has its temporary name. Preserves errno.
  ~replacement_file();
  replacement_file(replacement_file&& other) noexcept;
  replacement_file& operator=(replacement_file&& other) noexcept;
  replacement_file(const replacement_file&) = delete;
  replacement_file& operator=(const replacement_file&) = delete;

  // False if the file could not be created. Right after the constructor, errno gives the reason.
  bool valid() const { return !name_.empty(); }
  int fd() const { return file_.get(); }
  // The temporary name; empty once the file has been renamed.
  const std::string& name() const { return name_; }

  // The functions below return false with errno set on failure.
  bool write(std::string_view bytes);
  // Waits until the content is on the disk.
  bool sync();
  // Ends writing. On a network file system, a full disk may be reported only here.
  bool close();
  // Renames the file to `target`, relative to the same directory descriptor, replacing any existing
  // file.
  bool rename_to(const std::string& target);
  // The same, but fails with EEXIST if `target` exists.
  bool rename_to_new(const std::string& target);

private:
  void remove();

  unique_fd file_;
  std::string name_;
  int directory_fd_ = AT_FDCWD;
};
