// Loads and writes metadata files.
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

// Symbolic links are not followed: anyone who can write next to the media could plant one and so
// make a privileged process write elsewhere.
unique_fd open_directory(const std::string& directory) {
  return open_trusted(directory, O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
}

// Creates a file with a unique name, which shows what the file was for in case it is never removed.
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

// Not flushed to disk before the rename, since a busy disk could hold the caller up indefinitely.
// After a power cut the metadata may be missing; it is then generated again from the media.
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
  if (!make_directory(context->directory, 0777) && errno != EEXIST) { return -1; }
  const unique_fd directory = open_directory(context->directory);
  if (!directory.valid()) { return -1; }
  return replace_file(directory.get(), file_name, text);
}
