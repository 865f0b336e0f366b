#include "platform/trusted_path.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <utility>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int most_links = 40;
constexpr uid_t nobody_else = static_cast<uid_t>(-1);

bool is_trusted(uid_t owner) {
  return owner == 0 || owner == geteuid();
}

// Follows a path one directory at a time, so that each component is checked before it is used.
class path_walk {
public:
  explicit path_walk(const std::string& path) : rest_(path) { restart(); }

  // Walks to the directory that contains the last component. Returns false with errno set on
  // failure.
  bool follow_to_last(bool follow_last_link) {
    while (directory_.valid() && take_component()) {
      if (is_last() && !follow_last_link) { return true; }
      unique_fd entry(openat(directory_.get(), name_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
      struct stat status {};
      if (!entry.valid()) { return is_last() && errno == ENOENT; }
      if (fstat(entry.get(), &status) != 0) { return false; }
      if (S_ISLNK(status.st_mode)) {
        if (!follow(entry.get(), status.st_uid)) { return false; }
      } else if (is_last()) {
        return true;
      } else {
        directory_ = std::move(entry);
      }
    }
    if (directory_.valid()) { name_ = "."; }
    return directory_.valid();
  }

  int directory() const { return directory_.get(); }
  const std::string& name() const { return name_; }

  // Whether the file found may be opened with those flags: always, unless the walk followed another
  // account's link.
  bool may_use(int fd, int flags) const {
    struct stat status {};
    if (stranger_ == nobody_else) { return true; }
    if (fstat(fd, &status) != 0) { return false; }
    // A directory is opened with O_PATH in order to change its contents.
    const mode_t needed = (flags & (O_ACCMODE | O_PATH)) == O_RDONLY ? S_IROTH : S_IWOTH;
    if (status.st_uid == stranger_ || (status.st_mode & needed) != 0) { return true; }
    errno = EACCES;
    return false;
  }

private:
  void restart() {
    const bool absolute = !rest_.empty() && rest_[0] == '/';
    if (directory_.valid() && !absolute) { return; }
    directory_.reset(open(absolute ? "/" : ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  }

  bool is_last() const { return rest_.find_first_not_of('/') == std::string::npos; }

  // Returns false at the end of the path.
  bool take_component() {
    const std::size_t begin = rest_.find_first_not_of('/');
    if (begin == std::string::npos) { return false; }
    const std::size_t end = rest_.find('/', begin);
    name_ = rest_.substr(begin, end == std::string::npos ? end : end - begin);
    rest_ = end == std::string::npos ? std::string() : rest_.substr(end);
    return true;
  }

  bool follow(int link, uid_t owner) {
    char target[PATH_MAX];
    const ssize_t length = readlinkat(link, "", target, sizeof(target));
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof(target) || ++links_ > most_links ||
        !may_follow(owner)) {
      errno = length < 0 ? errno : ELOOP;
      return false;
    }
    rest_ = std::string(target, static_cast<std::size_t>(length)) + rest_;
    restart();
    return directory_.valid();
  }

  bool may_follow(uid_t owner) {
    struct stat status {};
    if (is_trusted(owner)) { return true; }
    if (fstat(directory_.get(), &status) != 0 || (status.st_mode & S_IWOTH) != 0) { return false; }
    stranger_ = owner;
    return true;
  }

  std::string rest_;
  std::string name_ = ".";
  unique_fd directory_;
  uid_t stranger_ = nobody_else;  // owner of the link that was followed
  int links_ = 0;
};

// Most paths contain no links, and a single call is enough for them.
unique_fd open_without_links(const std::string& path, int flags, mode_t mode) {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags);
  how.mode = (flags & O_CREAT) != 0 ? mode : 0;
  how.resolve = RESOLVE_NO_SYMLINKS;
  return unique_fd(
      static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof(how))));
}

}  // namespace

unique_fd open_trusted(const std::string& path, int flags, mode_t mode) {
  unique_fd file = open_without_links(path, flags | O_CLOEXEC, mode);
  if (file.valid() || (errno != ELOOP && errno != ENOSYS && errno != EPERM)) { return file; }
  path_walk walk(path);
  if (!walk.follow_to_last((flags & O_NOFOLLOW) == 0)) { return unique_fd(); }
  file.reset(openat(walk.directory(), walk.name().c_str(), flags | O_NOFOLLOW | O_CLOEXEC, mode));
  if (file.valid() && !walk.may_use(file.get(), flags)) {
    const int error = errno;
    file.reset();
    errno = error;
  }
  return file;
}

unique_fd open_directory_of(const std::string& path, std::string& name) {
  const std::size_t slash = path.rfind('/');
  name = slash == std::string::npos ? path : path.substr(slash + 1);
  return open_trusted(slash == std::string::npos ? "." : path.substr(0, slash + 1),
                      O_PATH | O_DIRECTORY);
}

bool make_directory(const std::string& path, mode_t mode) {
  std::string name;
  const unique_fd parent = open_directory_of(path, name);
  return parent.valid() && mkdirat(parent.get(), name.c_str(), mode) == 0;
}

bool remove_file(const std::string& path) {
  std::string name;
  const unique_fd parent = open_directory_of(path, name);
  return parent.valid() && unlinkat(parent.get(), name.c_str(), 0) == 0;
}
