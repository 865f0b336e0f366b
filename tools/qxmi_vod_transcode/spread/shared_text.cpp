#include "tools/qxmi_vod_transcode/spread/shared_text.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tools/qxmi_vod_transcode/random_word.h"

// The temporary name is this process's own, and no name of anything that is looked for.
bool write_text(int folder, const std::string& name, const std::string& text) {
  const std::string part = name + "~" + process_word();
  unlinkat(folder, part.c_str(), 0);
  const unique_fd file(openat(folder, part.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                              S_IRUSR | S_IWUSR));
  if (!file.valid()) { return false; }
  if (write_all(file.get(), text) && renameat(folder, part.c_str(), folder, name.c_str()) == 0) {
    return true;
  }
  const int cause = errno;
  unlinkat(folder, part.c_str(), 0);
  errno = cause;
  return false;
}

bool read_text(int folder, const std::string& name, std::size_t limit, std::string& text) {
  const unique_fd file(
      openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return file.valid() && read_all(file.get(), limit, text);
}
