#include "platform/rewrite_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/trusted_path.h"
#include "platform/unique_fd.h"

// The file is truncated before the last of the text is written, so that a reader may see a short
// file but never old text after the new. This holds for texts that fit the stream's buffer of 4
// KiB; parts of a longer one are written earlier.
void rewrite_closer::operator()(FILE* file) const {
  const off_t length = ftello(file);
  struct stat status {};
  if (length >= 0 && fstat(fileno(file), &status) == 0 && status.st_size > length) {
    // If this fails, so does writing, and nothing can be done about that here.
    static_cast<void>(ftruncate(fileno(file), length) == 0);
  }
  fclose(file);
}

unique_rewrite rewrite_file(const std::string& path) {
  unique_fd fd = open_trusted(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK, 0666);
  struct stat status {};
  if (!fd.valid() || fstat(fd.get(), &status) != 0) { return nullptr; }
  if (!S_ISREG(status.st_mode) || status.st_nlink > 1) {
    errno = EINVAL;
    return nullptr;
  }
  unique_rewrite file(fdopen(fd.get(), "w"));
  if (file) { static_cast<void>(fd.release()); }
  return file;
}
