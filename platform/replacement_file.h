// A file that is written under a temporary name and renamed when it is complete, so that readers
// see the whole of it or nothing.
#pragma once

#include <string>
#include <string_view>

#include <fcntl.h>

#include "platform/unique_fd.h"

class replacement_file {
public:
  // Creates a file with a name that nobody else has, `prefix` and six random characters, which only
  // its owner can read and write.
  static replacement_file with_random_name(std::string prefix);

  replacement_file() = default;
  // Takes over `file`, open for writing, which has the name `name` in the directory `directory_fd`.
  // That descriptor stays the caller's and must outlive this object. An invalid `file` makes an
  // object that is not valid and removes nothing.
  replacement_file(unique_fd file, std::string name, int directory_fd = AT_FDCWD);
  // Removes the file if it still has its temporary name. Leaves errno as it is.
  ~replacement_file();
  replacement_file(replacement_file&& other) noexcept;
  replacement_file& operator=(replacement_file&& other) noexcept;
  replacement_file(const replacement_file&) = delete;
  replacement_file& operator=(const replacement_file&) = delete;

  // False if the file could not be created; errno is then that of the attempt.
  bool valid() const { return !name_.empty(); }
  int fd() const { return file_.get(); }
  // The temporary name; empty once the file has its own.
  const std::string& name() const { return name_; }

  // Each returns false with errno.
  bool write(std::string_view bytes);
  // Waits until the content is on the disk.
  bool sync();
  // Ends writing. A network file system may report a full disk only here.
  bool close();
  // Gives the file the name `target`, in the same directory descriptor, in place of what had it.
  bool rename_to(const std::string& target);
  // The same, but fails with EEXIST if something has that name.
  bool rename_to_new(const std::string& target);

private:
  void remove();

  unique_fd file_;
  std::string name_;
  int directory_fd_ = AT_FDCWD;
};
