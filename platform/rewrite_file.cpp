#include "platform/rewrite_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/trusted_path.h"
#include "platform/unique_fd.h"

bool rewrite_file(const std::string& path, std::string_view text) {
  const unique_fd file = open_trusted(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK, 0666);
  struct stat status {};
  if (!file.valid() || fstat(file.get(), &status) != 0) { return false; }
  if (!S_ISREG(status.st_mode) || status.st_nlink > 1) {
    errno = EINVAL;
    return false;
  }
  // Before the text, so that a reader may see a short file but never old text after the new. If
  // this fails, so does writing, and nothing can be done about that here.
  const auto length = static_cast<off_t>(text.size());
  if (status.st_size > length) { static_cast<void>(ftruncate(file.get(), length) == 0); }
  static_cast<void>(write_all(file.get(), text));
  return true;
}
