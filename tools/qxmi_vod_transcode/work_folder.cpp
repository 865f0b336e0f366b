#include "tools/qxmi_vod_transcode/work_folder.h"

#include <cerrno>
#include <cstring>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/file_bytes.h"
#include "platform/replacement_file.h"
#include "platform/trusted_path.h"
#include "tools/media/left_segments.h"
#include "tools/qxmi_vod_transcode/content_sum.h"

namespace {

constexpr const char* key_name = "key";
constexpr std::size_t longest_key = 65536;

bool fail(std::string& error) {
  error = std::strerror(errno);
  return false;
}

std::string folder_name(const std::string& key) {
  content_sum sum;
  sum.add(key);
  return segment_folder_prefix + hexadecimal(sum.value());
}

// A name that others do not know beforehand.
std::string unforeseeable(const std::string& name) {
  std::random_device random;
  return name + "-" + std::to_string(random());
}

bool holds(int folder, const char* name, const std::string& expected) {
  const unique_fd file(openat(folder, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  std::string text;
  return file.valid() && read_all(file.get(), longest_key, text) && text == expected;
}

bool write_new(int folder, const std::string& name, const std::string& text) {
  const std::string part = name + ".part";
  unlinkat(folder, part.c_str(), 0);
  unique_fd fd(openat(folder, part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      S_IRUSR | S_IWUSR));
  replacement_file file(std::move(fd), part, folder);
  return file.valid() && file.write(text) && file.sync() && file.rename_to(name);
}

}  // namespace

bool work_folder::take(const std::string& name) {
  if (mkdirat(directory_.get(), name.c_str(), S_IRWXU) != 0 && errno != EEXIST) { return false; }
  folder_ = open_segment_folder(directory_.get(), name);
  if (folder_.valid()) { lock_ = lock_segment_folder(directory_.get(), name, folder_.get()); }
  name_ = name;
  return lock_.valid();
}

// A folder without its key, or with another one, holds nothing of use.
bool work_folder::prepare(const std::string& key, const std::string& source) const {
  if (!holds(fd(), key_name, key)) {
    empty_segment_folder(fd());
    if (!write_new(fd(), key_name, key)) { return false; }
  }
  remove_run_folder(fd());
  return holds(fd(), segment_source_name, source) || write_new(fd(), segment_source_name, source);
}

bool work_folder::open(const std::string& output, const std::string& key, const std::string& source,
                       std::string& error) {
  std::string ignored;
  directory_ = open_directory_of(output, ignored);
  if (!directory_.valid()) { return fail(error); }
  const std::string name = folder_name(key);
  if (!take(name) && !take(unforeseeable(name))) { return fail(error); }
  return prepare(key, source) || fail(error);
}

unique_fd work_folder::create_run_folder() const {
  remove_run_folder(fd());
  if (mkdirat(fd(), segment_run_folder, S_IRWXU) != 0) { return unique_fd(); }
  return unique_fd(
      openat(fd(), segment_run_folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

void work_folder::remove() {
  if (folder_.valid()) { remove_segment_folder(directory_.get(), name_, fd()); }
  folder_.reset();
  lock_.reset();
}
