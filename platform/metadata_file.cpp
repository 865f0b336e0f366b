// Metadata files, loaded and written.
#include <cerrno>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/metadata_entries.h"
#include "platform/metadata_v4.h"
#include "platform/small_file.h"
#include "platform/unique_fd.h"

namespace {

constexpr std::size_t largest_file = std::size_t{1} << 20;  // bytes

int fail(int error) {
  errno = error;
  return -1;
}

const char* or_usual_name(const char* name) {
  return name == nullptr ? "metadata" : name;
}

bool is_bare_name(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

// Whoever may write beside the media could put a symbolic link there, and so have a privileged
// process write elsewhere: it is not followed.
unique_fd open_directory(const std::string& directory) {
  return unique_fd(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

bool write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t put = write(fd, text.data(), text.size());
    if (put < 0 && errno == EINTR) { continue; }
    if (put < 0) { return false; }
    text.remove_prefix(static_cast<std::size_t>(put));
  }
  return true;
}

// Makes a file of a name that nobody else has; the name says whose it was, should it be left
// behind.
unique_fd make_temporary(int directory_fd, const char* name, std::string& temporary) {
  constexpr int most_tries = 100;
  static unsigned counter = 0;
  unique_fd file;
  for (int i = 0; i < most_tries && !file.valid(); ++i) {
    temporary = std::string(name) + "." + std::to_string(getpid()) + "." +
                std::to_string(counter++) + ".tmp";
    file.reset(
        openat(directory_fd, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file.valid() && errno != EEXIST) { break; }
  }
  return file;
}

// Not flushed to the disk before the rename, which would stop the caller for as long as a busy disk
// likes: after a power cut the metadata may be missing, and is made again from the media.
int replace_file(int directory_fd, const char* name, const std::string& text) {
  std::string temporary;
  unique_fd file = make_temporary(directory_fd, name, temporary);
  if (!file.valid()) { return -1; }
  // Network file systems tell of a full disk only at the close.
  if (write_all(file.get(), text) && close(file.release()) == 0 &&
      renameat(directory_fd, temporary.c_str(), directory_fd, name) == 0) {
    return 0;
  }
  const int error = errno;
  unlinkat(directory_fd, temporary.c_str(), 0);
  return fail(error);
}

}  // namespace

int metadata_v4_metadata_context_load_metadata_from_file(metadata_v4_metadata_context* entries,
                                                         const metadata_v4_context* context,
                                                         const char* name) {
  const char* const file_name = or_usual_name(name);
  if (context->directory.empty() || !is_bare_name(file_name)) { return fail(EINVAL); }
  const unique_fd directory = open_directory(context->directory);
  if (!directory.valid()) { return -1; }
  std::string text;
  if (!read_small_file(directory.get(), file_name, largest_file, text)) {
    return fail(errno == EFBIG ? EINVAL : errno);
  }
  metadata_v4_metadata_context loaded;
  if (!loaded.parse(text)) { return fail(EINVAL); }
  *entries = std::move(loaded);
  return 0;
}

int metadata_v4_metadata_context_write_metadata_to_file(const metadata_v4_metadata_context* entries,
                                                        const metadata_v4_context* context,
                                                        const char* name) {
  const char* const file_name = or_usual_name(name);
  if (context->directory.empty() || !is_bare_name(file_name)) { return fail(EINVAL); }
  const std::string text = entries->text();
  if (text.size() > largest_file) { return fail(EFBIG); }
  if (mkdir(context->directory.c_str(), 0777) != 0 && errno != EEXIST) { return -1; }
  const unique_fd directory = open_directory(context->directory);
  if (!directory.valid()) { return -1; }
  return replace_file(directory.get(), file_name, text);
}
