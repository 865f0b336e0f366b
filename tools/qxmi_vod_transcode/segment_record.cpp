#include "tools/qxmi_vod_transcode/segment_record.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string_view>
#include <utility>

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

std::string record_name(const std::string& name, std::uint64_t sum) {
  return name + "." + hexadecimal(sum) + ".sum";
}

// With its name, since any other segment would fit as well.
std::string record_text(const std::string& name, const kept_segment& kept) {
  return name + " " + std::to_string(kept.content.bytes) + " " + hexadecimal(kept.content.sum) +
         " " + kept.run + " " + kept.first + " " + kept.next +
         (kept.is_last ? std::string(" ") + last_word : "");
}

// Whether the record is that of a segment with that name and content; what else it says.
bool fits_record(const std::string& text, const std::string& name, kept_segment& kept) {
  std::istringstream record(text);
  std::uint64_t bytes = 0;
  std::string recorded;
  std::string sum;
  if (!(record >> recorded >> bytes >> sum >> kept.run >> kept.first >> kept.next)) {
    return false;
  }
  std::string word;
  kept.is_last = record >> word && word == last_word;
  return recorded == name && kept.content.bytes == bytes && hexadecimal(kept.content.sum) == sum;
}

bool read_content(segment_kind kind, int file, segment_content& content) {
  switch (kind) {
  case segment_kind::picture:
    return read_picture_segment(file, content);
  case segment_kind::sound:
    return read_sound_segment(file, content);
  case segment_kind::whole_sound:
    return read_whole_sound(file, content);
  }
  return false;
}

bool fail(encode_failure& failure) {
  failure = system_failure(errno);
  return false;
}

// What a damaged, a missing or another kind of file gives, or its content; all other errors are
// trouble with reading it.
constexpr int errors_of_damage[] = {0, ENOENT, ELOOP, EISDIR, ENXIO, EFBIG, EINVAL};

unique_fd open_to_read(int folder, const std::string& name) {
  return unique_fd(openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

// Whether it is a segment or anything that belongs to one.
bool is_of_segment(std::string_view name, segment_kind kind) {
  return name.size() > 1 && name[0] == segment_name(kind, 0)[0] &&
         std::isdigit(static_cast<unsigned char>(name[1])) != 0;
}

// Never replaces anything: false with EEXIST then, or with another errno. On NFS only links work
// like that. Where not even these exist, no other machine writes.
bool move_to_free_name(int from, int to, const std::string& name) {
  const char* const text = name.c_str();
  if (renameat2(from, text, to, text, RENAME_NOREPLACE) == 0) { return true; }
  if (errno != EINVAL && errno != ENOSYS) { return false; }
  if (linkat(from, text, to, text, 0) == 0) {
    unlinkat(from, text, 0);
    return true;
  }
  const bool knows_links = errno != EPERM && errno != EOPNOTSUPP && errno != ENOSYS;
  return !knows_links && renameat(from, text, to, text) == 0;
}

segment_placing failed(encode_failure& failure) {
  failure = system_failure(errno);
  return segment_placing::failed;
}

segment_placing unwanted(encode_failure& failure) {
  failure = {true, "nobody waits for the segment any longer", true};
  return segment_placing::failed;
}

// For a segment whose name is taken.
segment_placing give_way(int run_folder, int folder, segment_kind kind, std::int64_t segment,
                         kept_segment& kept, encode_failure& failure) {
  const std::string name = segment_name(kind, segment);
  kept_segment there;
  if (load_segment(folder, kind, segment, there) != segment_state::good) {
    const bool replaced = renameat(run_folder, name.c_str(), folder, name.c_str()) == 0;
    return replaced ? segment_placing::placed : failed(failure);
  }
  const bool same_content = there.content.sum == kept.content.sum;
  if (!same_content) { unlinkat(folder, record_name(name, kept.content.sum).c_str(), 0); }
  // A server may have moved it although its first answer was lost; or two have made the same bytes.
  const bool is_own = same_content && there.run == kept.run;
  kept = std::move(there);
  return is_own ? segment_placing::placed : segment_placing::was_there;
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

bool may_be_readable_later(int error) {
  return std::find(std::begin(errors_of_damage), std::end(errors_of_damage), error) ==
         std::end(errors_of_damage);
}

std::string segment_name(segment_kind kind, std::int64_t segment) {
  switch (kind) {
  case segment_kind::picture:
    return picture_segment_name(segment);
  case segment_kind::sound:
    return sound_segment_name(segment);
  case segment_kind::whole_sound:
    break;
  }
  return whole_sound_name(segment);
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
  const unique_fd file(open_to_read(folder, name));
  if (file.valid() && read_content(kind, file.get(), kept.content)) {
    errno = 0;
    const std::string record = read_sealed_line(folder, record_name(name, kept.content.sum));
    if (fits_record(record, name, kept)) { return segment_state::good; }
  }
  return may_be_readable_later(errno) ? segment_state::unreadable : segment_state::damaged;
}

bool read_new_segment(int run_folder, segment_kind kind, std::int64_t segment,
                      segment_content& content, encode_failure& failure) {
  const unique_fd file(openat(run_folder, segment_name(kind, segment).c_str(),
                              O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.valid() || !make_own(file.get())) { return fail(failure); }
  errno = 0;
  if (read_content(kind, file.get(), content)) { return true; }
  if (may_be_readable_later(errno)) { return fail(failure); }
  failure = {true, "the engine made an incomplete segment"};
  return false;
}

segment_placing place_segment(int run_folder, int folder, segment_kind kind, std::int64_t segment,
                              kept_segment& kept, const std::function<bool()>& may_place,
                              encode_failure& failure) {
  const std::string name = segment_name(kind, segment);
  const unique_fd file(open_to_read(run_folder, name));
  if (!file.valid() || fsync(file.get()) != 0) { return failed(failure); }
  if (!may_place()) { return unwanted(failure); }
  // The segment gets its name last: a record alone means nothing.
  const bool has_record =
      write_sealed_line(folder, record_name(name, kept.content.sum), record_text(name, kept),
                        name + "." + kept.run + ".part");
  if (!has_record) { return failed(failure); }
  // The disk may have taken its time.
  if (!may_place()) { return unwanted(failure); }
  segment_placing placing = segment_placing::placed;
  if (!move_to_free_name(run_folder, folder, name)) {
    placing = errno == EEXIST ? give_way(run_folder, folder, kind, segment, kept, failure)
                              : failed(failure);
  }
  if (placing == segment_placing::was_there) { return placing; }
  return placing == segment_placing::placed && !sync_names(folder) ? failed(failure) : placing;
}

void remove_segment(int folder, segment_kind kind, std::int64_t segment, std::uint64_t sum) {
  const std::string name = segment_name(kind, segment);
  unlinkat(folder, name.c_str(), 0);
  unlinkat(folder, record_name(name, sum).c_str(), 0);
}

void remove_segments(int folder, segment_kind kind) {
  std::vector<std::string> names;
  static_cast<void>(list_names(folder, kind, names));
  for (const std::string& name : names) {
    unlinkat(folder, name.c_str(), 0);
  }
}
