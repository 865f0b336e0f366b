// Opens files that are rewritten in place, and closes them.
#include "platform/rewrite_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/trusted_path.h"
#include "platform/unique_fd.h"

// The rest is cut off before the last of the text is written, so that a reader may see a short file
// but no old words behind the new ones. That holds for a text within the stream's buffer, 4 KiB: of
// a longer one, pieces are written before.
void rewrite_closer::operator()(FILE* file) const {
  const off_t length = ftello(file);
  struct stat status {};
  if (length >= 0 && fstat(fileno(file), &status) == 0 && status.st_size > length) {
    // Fails where writing fails as well, and there nothing better can be done.
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
