#include "tools/qxmi_vod_transcode/segment_record.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/directories.h"
#include "platform/file_bytes.h"
#include "platform/replacement_file.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"
#include "tools/qxmi_vod_transcode/content_sum.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"

namespace {

constexpr std::size_t longest_line = 4096;
constexpr const char* last_word = "last";

std::string record_name(const std::string& name) {
  return name + ".sum";
}

// With its name, since any other segment would fit as well.
std::string record_text(const std::string& name, const kept_segment& kept) {
  return name + " " + std::to_string(kept.content.bytes) + " " + hexadecimal(kept.content.sum) +
         " " + kept.run + " " + kept.first + " " + kept.next +
         (kept.is_last ? std::string(" ") + last_word : "");
}

bool read_content(segment_kind kind, int file, segment_content& content) {
  return kind == segment_kind::picture ? read_picture_segment(file, content)
                                       : read_sound_segment(file, content);
}

bool fail(encode_failure& failure) {
  failure = system_failure(errno);
  return false;
}

// What a damaged, a missing or another kind of file gives, or its content; all other errors are
// trouble with reading it.
constexpr int errors_of_damage[] = {0, ENOENT, ELOOP, EISDIR, ENXIO, EFBIG, EINVAL};

bool is_trouble(int error) {
  return std::find(std::begin(errors_of_damage), std::end(errors_of_damage), error) ==
         std::end(errors_of_damage);
}

unique_fd open_to_read(int folder, const std::string& name) {
  return unique_fd(openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

// Whether it is a segment or anything that belongs to one.
bool is_of_segment(std::string_view name, segment_kind kind) {
  return name.size() > 1 && name[0] == segment_name(kind, 0)[0] &&
         std::isdigit(static_cast<unsigned char>(name[1])) != 0;
}

// The names of what belongs to segments. False with errno on failure.
bool list_names(int folder, segment_kind kind, std::vector<std::string>& names) {
  const int fd = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const unique_dir entries(fd < 0 ? nullptr : fdopendir(fd));
  if (!entries) {
    if (fd >= 0) { close(fd); }
    return false;
  }
  errno = 0;
  while (const dirent* entry = readdir(entries.get())) {
    if (is_of_segment(entry->d_name, kind)) { names.emplace_back(entry->d_name); }
  }
  return errno == 0;
}

// Nobody else may change it from now on, not even the engine's account. Where all files belong to
// the same account, their owner cannot be set, not even to what it is.
bool make_own(int file) {
  struct stat status = {};
  if (fstat(file, &status) != 0) { return false; }
  const bool is_own = status.st_uid == geteuid();
  return (is_own || fchown(file, geteuid(), static_cast<gid_t>(-1)) == 0) &&
         fchmod(file, S_IRUSR | S_IWUSR) == 0;
}

}  // namespace

std::string segment_name(segment_kind kind, std::int64_t segment) {
  return kind == segment_kind::picture ? picture_segment_name(segment)
                                       : sound_segment_name(segment);
}

bool list_segments(int folder, segment_kind kind, std::vector<std::int64_t>& segments) {
  std::vector<std::string> names;
  if (!list_names(folder, kind, names)) { return false; }
  for (const std::string& name : names) {
    const std::int64_t segment = std::atoll(name.c_str() + 1);
    if (name == segment_name(kind, segment)) { segments.push_back(segment); }
  }
  return true;
}

std::string read_sealed_line(int folder, const std::string& name) {
  const unique_fd file(open_to_read(folder, name));
  std::string line;
  return file.valid() && read_all(file.get(), longest_line, line) ? unsealed(line) : std::string();
}

bool write_sealed_line(int folder, const std::string& name, const std::string& text,
                       const std::string& temporary_name) {
  unlinkat(folder, temporary_name.c_str(), 0);
  unique_fd fd(openat(folder, temporary_name.c_str(),
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  replacement_file file(std::move(fd), temporary_name, folder);
  return file.valid() && file.write(sealed(text)) && file.sync() && file.rename_to(name);
}

segment_state load_segment(int folder, segment_kind kind, std::int64_t segment,
                           kept_segment& kept) {
  const std::string name = segment_name(kind, segment);
  errno = 0;
  std::istringstream record(read_sealed_line(folder, record_name(name)));
  std::uint64_t bytes = 0;
  std::string recorded;
  std::string sum;
  if (record >> recorded >> bytes >> sum >> kept.run >> kept.first >> kept.next) {
    std::string word;
    kept.is_last = record >> word && word == last_word;
    const unique_fd file(open_to_read(folder, name));
    const bool good = recorded == name && file.valid() &&
                      read_content(kind, file.get(), kept.content) && kept.content.bytes == bytes &&
                      hexadecimal(kept.content.sum) == sum;
    if (good) { return segment_state::good; }
  }
  return is_trouble(errno) ? segment_state::unreadable : segment_state::damaged;
}

bool read_new_segment(int run_folder, segment_kind kind, std::int64_t segment,
                      segment_content& content, encode_failure& failure) {
  const unique_fd file(openat(run_folder, segment_name(kind, segment).c_str(),
                              O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.valid() || !make_own(file.get())) { return fail(failure); }
  errno = 0;
  if (read_content(kind, file.get(), content)) { return true; }
  if (is_trouble(errno)) { return fail(failure); }
  failure = {true, "the engine made an incomplete segment"};
  return false;
}

bool move_segment(int run_folder, int folder, segment_kind kind, std::int64_t segment,
                  const kept_segment& kept, encode_failure& failure) {
  const std::string name = segment_name(kind, segment);
  const unique_fd file(open_to_read(run_folder, name));
  // The segment gets its name last: a record alone means nothing.
  const bool moved = file.valid() && fsync(file.get()) == 0 &&
                     write_sealed_line(folder, record_name(name), record_text(name, kept),
                                       name + "." + kept.run + ".part") &&
                     renameat(run_folder, name.c_str(), folder, name.c_str()) == 0 &&
                     sync_names(folder);
  return moved || fail(failure);
}

void remove_segment(int folder, segment_kind kind, std::int64_t segment) {
  const std::string name = segment_name(kind, segment);
  unlinkat(folder, name.c_str(), 0);
  unlinkat(folder, record_name(name).c_str(), 0);
}

void remove_segments(int folder, segment_kind kind) {
  std::vector<std::string> names;
  static_cast<void>(list_names(folder, kind, names));
  for (const std::string& name : names) {
    unlinkat(folder, name.c_str(), 0);
  }
}
