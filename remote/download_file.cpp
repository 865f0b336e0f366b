#include "remote/download_file.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "platform/replacement_file.h"
#include "platform/trusted_path.h"
#include "platform/unique_fd.h"

namespace {

// Owner of the file that was prepared last.
uid_t expected_owner = 0;

bool is_plain(const struct stat& status) {
  return S_ISREG(status.st_mode) && status.st_nlink <= 1;  // some file systems do not count
}

unique_fd open_output(int folder, const std::string& name, int flags) {
  return unique_fd(
      openat(folder, name.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | flags, 0666));
}

// The owner of what this process makes in the folder: on a share it may differ from the process's
// account. Finds out by making a file.
uid_t owner_of_new_files(int folder) {
  const replacement_file probe = replacement_file::with_random_name(
      "/proc/self/fd/" + std::to_string(folder) + "/.download-owner-");
  struct stat status {};
  const bool is_known = probe.valid() && fstat(probe.fd(), &status) == 0;
  return is_known ? status.st_uid : geteuid();
}

// Whether another account has put the file there. One that cannot be examined is left to the
// download tool, which reports the cause. If a share gives the files of all accounts to one, theirs
// count as the process's own: whoever can make files there could replace the result as well.
bool is_planted(int folder, const std::string& name) {
  const unique_fd file = open_output(folder, name, 0);
  struct stat status {};
  if (!file.valid()) { return errno == ELOOP || errno == ENXIO; }
  if (fstat(file.get(), &status) != 0) { return false; }
  if (!is_plain(status)) { return true; }
  if (status.st_uid != expected_owner) { expected_owner = owner_of_new_files(folder); }
  return status.st_uid != expected_owner;
}

}  // namespace

void prepare_download_file(const std::string& path) {
  expected_owner = geteuid();
  std::string name;
  const unique_fd folder = open_directory_of(path, name);
  if (!folder.valid()) { return; }
  if (is_planted(folder.get(), name)) { unlinkat(folder.get(), name.c_str(), 0); }
  const unique_fd made = open_output(folder.get(), name, O_CREAT | O_EXCL);
  struct stat status {};
  if (made.valid() && fstat(made.get(), &status) == 0) { expected_owner = status.st_uid; }
}

bool may_be_download_file(const struct stat& status) {
  return is_plain(status) && status.st_uid == expected_owner;
}
