// Metadata files, loaded and written.
#include <cerrno>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/metadata_entries.h"
#include "platform/metadata_v4.h"
#include "platform/replacement_file.h"
#include "platform/small_file.h"
#include "platform/trusted_path.h"
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
  return open_trusted(directory, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
}

// Creates a file with a name that nobody else has; the name says whose it was, should it be left
// behind.
replacement_file create_temporary(int directory_fd, const char* name) {
  constexpr int most_tries = 100;
  static unsigned counter = 0;
  unique_fd file;
  std::string temporary;
  for (int i = 0; i < most_tries && !file.valid(); ++i) {
    temporary = std::string(name) + "." + std::to_string(getpid()) + "." +
                std::to_string(counter++) + ".tmp";
    file.reset(
        openat(directory_fd, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file.valid() && errno != EEXIST) { break; }
  }
  return replacement_file(std::move(file), std::move(temporary), directory_fd);
}

// Not flushed to the disk before the rename, which would stop the caller for as long as a busy disk
// likes: after a power cut the metadata may be missing, and is made again from the media.
int replace_file(int directory_fd, const char* name, const std::string& text) {
  replacement_file file = create_temporary(directory_fd, name);
  const bool is_replaced = file.valid() && file.write(text) && file.close() && file.rename_to(name);
  return is_replaced ? 0 : -1;
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
