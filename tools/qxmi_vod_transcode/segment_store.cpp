#include "tools/qxmi_vod_transcode/segment_store.h"

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

#include "platform/file_bytes.h"
#include "platform/replacement_file.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"
#include "tools/qxmi_vod_transcode/content_sum.h"
#include "tools/qxmi_vod_transcode/run_marks.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"

namespace {

constexpr const char* totals_name = "complete";
constexpr const char* reach_name = "reach";
constexpr const char* unreadable_name = "unreadable";
constexpr const char* unfinished_name = "record.part";
constexpr std::size_t longest_line = 4096;

std::string name_of(bool picture, std::int64_t segment) {
  return picture ? picture_segment_name(segment) : sound_segment_name(segment);
}

std::string record_name(const std::string& name) {
  return name + ".sum";
}

// With its name, since any other segment would fit as well.
std::string record_text(const std::string& name, const kept_segment& kept) {
  return name + " " + std::to_string(kept.content.bytes) + " " + hexadecimal(kept.content.sum) +
         " " + kept.run + " " + kept.first + " " + kept.next;
}

bool read_content(bool picture, int file, segment_content& content) {
  return picture ? read_picture_segment(file, content) : read_sound_segment(file, content);
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

bool is_segment(std::string_view name, char kind) {
  return name.size() > 1 && name[0] == kind && std::isdigit(static_cast<unsigned char>(name[1]));
}

// The names in `folder` that a segment of `kind` and its record have.
std::vector<std::string> segment_names(int folder, char kind) {
  std::vector<std::string> names;
  const int fd = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const unique_dir entries(fd < 0 ? nullptr : fdopendir(fd));
  if (!entries && fd >= 0) { close(fd); }
  while (const dirent* entry = entries ? readdir(entries.get()) : nullptr) {
    if (is_segment(entry->d_name, kind)) { names.emplace_back(entry->d_name); }
  }
  return names;
}

// Nobody else may change it from now on, not even the engine's account.
bool make_own(int file) {
  return fchown(file, geteuid(), getegid()) == 0 && fchmod(file, S_IRUSR | S_IWUSR) == 0;
}

}  // namespace

std::string segment_store::read_line(const std::string& name) const {
  const unique_fd file(open_to_read(folder_, name));
  std::string line;
  return file.valid() && read_all(file.get(), longest_line, line) ? unsealed(line) : std::string();
}

bool segment_store::write_line(const std::string& name, const std::string& text) const {
  unlinkat(folder_, unfinished_name, 0);
  unique_fd fd(openat(folder_, unfinished_name,
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  replacement_file file(std::move(fd), unfinished_name, folder_);
  return file.valid() && file.write(sealed(text)) && file.sync() && file.rename_to(name);
}

bool segment_store::has_right_length(bool picture, const segment_content& content,
                                     bool is_last) const {
  const std::int64_t full = picture ? plan_.frames : plan_.packets;
  if (content.frames > full || (content.frames < full && !is_last)) { return false; }
  // One encoder's settings, one description.
  return !picture || pictures_.empty() ||
         pictures_.front().content.description == content.description;
}

segment_store::content_state segment_store::load(bool picture, std::int64_t segment,
                                                 kept_segment& kept) const {
  const std::string name = name_of(picture, segment);
  errno = 0;
  std::istringstream record(read_line(record_name(name)));
  std::uint64_t bytes = 0;
  std::string recorded;
  std::string sum;
  if (record >> recorded >> bytes >> sum >> kept.run >> kept.first >> kept.next) {
    const unique_fd file(open_to_read(folder_, name));
    const bool good = recorded == name && file.valid() &&
                      read_content(picture, file.get(), kept.content) &&
                      kept.content.bytes == bytes && hexadecimal(kept.content.sum) == sum;
    if (good) { return content_state::good; }
  }
  return is_trouble(errno) ? content_state::unreadable : content_state::missing;
}

// Trouble with a disk or a server may pass; if it does not, that segment must be made again.
bool segment_store::is_unreadable_again(const std::string& name, encode_failure& failure) const {
  const int error = errno;
  if (note(unreadable_name) == name) { return true; }
  set_note(unreadable_name, name);
  failure = system_failure(error);
  return false;
}

bool segment_store::scan_stream(bool picture, const std::function<bool()>& goes_on,
                                encode_failure& failure) {
  std::vector<kept_segment>& all = picture ? pictures_ : sounds_;
  // Only the very last one may be short: whether it is that one shows when it is counted.
  for (bool full = picture || plan_.packets > 0; full;) {
    if (!goes_on()) { return false; }
    kept_segment kept;
    const auto segment = static_cast<std::int64_t>(all.size());
    const content_state state = load(picture, segment, kept);
    if (state == content_state::unreadable &&
        !is_unreadable_again(name_of(picture, segment), failure)) {
      return false;
    }
    if (state != content_state::good || !has_right_length(picture, kept.content, true)) { break; }
    full = has_right_length(picture, kept.content, false);
    all.push_back(kept);
  }
  return true;
}

bool segment_store::scan(const std::function<bool()>& goes_on, encode_failure& failure) {
  pictures_.clear();
  sounds_.clear();
  complete_ = false;
  if (!scan_stream(true, goes_on, failure) || !scan_stream(false, goes_on, failure)) {
    return false;
  }
  complete_ = !pictures_.empty() && read_line(totals_name) == totals();
  reach_ = std::max(reach_, std::atoi(read_line(reach_name).c_str()));
  unlinkat(folder_, unreadable_name, 0);
  return true;
}

// If it cannot be written, the next run of the tool finds it out once more.
void segment_store::set_reach(int reach) {
  reach_ = reach;
  write_line(reach_name, std::to_string(reach));
}

std::int64_t segment_store::frames() const {
  std::int64_t sum = 0;
  for (const kept_segment& kept : pictures_) {
    sum += kept.content.frames;
  }
  return sum;
}

std::int64_t segment_store::packets() const {
  std::int64_t sum = 0;
  for (const kept_segment& kept : sounds_) {
    sum += kept.content.frames;
  }
  return sum;
}

std::string segment_store::totals() const {
  return std::to_string(pictures_.size()) + " " + std::to_string(frames()) + " " +
         std::to_string(sounds_.size()) + " " + std::to_string(packets());
}

std::vector<std::int64_t> segment_store::seams() const {
  std::vector<std::int64_t> found;
  for (std::size_t segment = 1; segment < pictures_.size(); ++segment) {
    if (pictures_[segment].run != pictures_[segment - 1].run) {
      found.push_back(static_cast<std::int64_t>(segment));
    }
  }
  return found;
}

std::int64_t segment_store::first_bad_seam() const {
  for (const std::int64_t segment : seams()) {
    const std::string& due = pictures_[static_cast<std::size_t>(segment) - 1].next;
    const std::string& made = pictures_[static_cast<std::size_t>(segment)].first;
    if (due == "-" || due != made) { return segment; }
  }
  return static_cast<std::int64_t>(pictures_.size());
}

bool segment_store::keep(bool picture, int run_folder, kept_segment made, bool is_last,
                         encode_failure& failure) {
  std::vector<kept_segment>& all = picture ? pictures_ : sounds_;
  const std::string name = name_of(picture, static_cast<std::int64_t>(all.size()));
  const unique_fd file(openat(run_folder, name.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
  if (!file.valid() || !make_own(file.get())) { return fail(failure); }
  errno = 0;
  if (!read_content(picture, file.get(), made.content) ||
      !has_right_length(picture, made.content, is_last)) {
    if (is_trouble(errno)) { return fail(failure); }
    failure = {true, "the engine made an incomplete segment"};
    return false;
  }
  // The segment gets its name last: a record alone means nothing.
  if (fsync(file.get()) != 0 || !write_line(record_name(name), record_text(name, made)) ||
      renameat(run_folder, name.c_str(), folder_, name.c_str()) != 0 || fsync(folder_) != 0) {
    return fail(failure);
  }
  all.push_back(std::move(made));
  return true;
}

bool segment_store::keep_picture(int run_folder, kept_segment made, bool is_last,
                                 encode_failure& failure) {
  return keep(true, run_folder, std::move(made), is_last, failure);
}

bool segment_store::keep_sound(int run_folder, kept_segment made, bool is_last,
                               encode_failure& failure) {
  return keep(false, run_folder, std::move(made), is_last, failure);
}

bool segment_store::complete(encode_failure& failure) {
  complete_ = write_line(totals_name, totals()) && fsync(folder_) == 0;
  return complete_ || fail(failure);
}

std::int64_t segment_store::best_end(std::int64_t most) const {
  const auto next = [this](std::int64_t count) -> const std::string& {
    return pictures_[static_cast<std::size_t>(count) - 1].next;
  };
  std::int64_t end = std::min(most, static_cast<std::int64_t>(pictures_.size()));
  while (end > 0 && next(end) == "-") {
    --end;
  }
  const bool earlier_is_better =
      end > 1 && !shows_movement(next(end)) && shows_movement(next(end - 1));
  return earlier_is_better ? end - 1 : end;
}

std::int64_t segment_store::best_sound_end(std::int64_t most) const {
  const bool last_is_short =
      !sounds_.empty() && !has_right_length(false, sounds_.back().content, false);
  const std::size_t whole = sounds_.size() - (last_is_short ? 1 : 0);
  return std::min(most, static_cast<std::int64_t>(whole));
}

void segment_store::remove_segment(const std::string& name) const {
  unlinkat(folder_, name.c_str(), 0);
  unlinkat(folder_, record_name(name).c_str(), 0);
}

void segment_store::cut(std::int64_t picture, std::int64_t sound) {
  unlinkat(folder_, totals_name, 0);
  complete_ = false;
  for (const bool of_picture : {true, false}) {
    std::vector<kept_segment>& all = of_picture ? pictures_ : sounds_;
    const std::int64_t first = of_picture ? picture : sound;
    const auto kept = std::min(all.size(), static_cast<std::size_t>(first));
    for (std::size_t segment = kept; segment < all.size(); ++segment) {
      remove_segment(name_of(of_picture, static_cast<std::int64_t>(segment)));
    }
    all.resize(kept);
  }
}

void segment_store::clear() {
  cut(0, 0);
  for (const char kind : {'v', 's'}) {
    for (const std::string& name : segment_names(folder_, kind)) {
      unlinkat(folder_, name.c_str(), 0);
    }
  }
}

bool segment_store::is_begun(int folder) {
  return !segment_names(folder, 'v').empty();
}
