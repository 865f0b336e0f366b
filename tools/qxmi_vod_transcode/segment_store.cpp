#include "tools/qxmi_vod_transcode/segment_store.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/replacement_file.h"
#include "platform/unique_fd.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/content_sum.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"

namespace {

constexpr const char* totals_name = "complete";
constexpr const char* reach_name = "reach";
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

bool fail(std::string& error) {
  error = std::strerror(errno);
  return false;
}

// Nobody else may change it from now on, not even the engine's account.
bool make_own(int file) {
  return fchown(file, geteuid(), getegid()) == 0 && fchmod(file, S_IRUSR | S_IWUSR) == 0;
}

}  // namespace

std::string segment_store::read_line(const std::string& name) const {
  const unique_fd file(openat(folder_, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
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

bool segment_store::load(bool picture, std::int64_t segment, kept_segment& kept) const {
  const std::string name = name_of(picture, segment);
  std::istringstream record(read_line(record_name(name)));
  std::uint64_t bytes = 0;
  std::string recorded;
  std::string sum;
  if (!(record >> recorded >> bytes >> sum >> kept.run >> kept.first >> kept.next) ||
      recorded != name) {
    return false;
  }
  const unique_fd file(openat(folder_, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  return file.valid() && read_content(picture, file.get(), kept.content) &&
         kept.content.bytes == bytes && hexadecimal(kept.content.sum) == sum;
}

void segment_store::scan() {
  pictures_.clear();
  sounds_.clear();
  for (const bool picture : {true, false}) {
    std::vector<kept_segment>& all = picture ? pictures_ : sounds_;
    kept_segment kept;
    // Only the very last one may be short: whether it is that one shows when it is counted.
    bool full = picture || plan_.packets > 0;
    while (full && stop_signal() == 0 &&
           load(picture, static_cast<std::int64_t>(all.size()), kept) &&
           has_right_length(picture, kept.content, true)) {
      full = has_right_length(picture, kept.content, false);
      all.push_back(kept);
      read_tool_signals();
    }
  }
  complete_ = !pictures_.empty() && read_line(totals_name) == totals();
  reach_ = std::max(reach_, std::atoi(read_line(reach_name).c_str()));
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
                         std::string& error) {
  std::vector<kept_segment>& all = picture ? pictures_ : sounds_;
  const std::string name = name_of(picture, static_cast<std::int64_t>(all.size()));
  const unique_fd file(openat(run_folder, name.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
  if (!file.valid() || !make_own(file.get())) { return fail(error); }
  if (!read_content(picture, file.get(), made.content) ||
      !has_right_length(picture, made.content, is_last)) {
    error = "the engine made an incomplete segment";
    return false;
  }
  // The segment gets its name last: a record alone means nothing.
  if (fsync(file.get()) != 0 || !write_line(record_name(name), record_text(name, made)) ||
      renameat(run_folder, name.c_str(), folder_, name.c_str()) != 0 || fsync(folder_) != 0) {
    return fail(error);
  }
  all.push_back(std::move(made));
  return true;
}

bool segment_store::keep_picture(int run_folder, kept_segment made, bool is_last,
                                 std::string& error) {
  return keep(true, run_folder, std::move(made), is_last, error);
}

bool segment_store::keep_sound(int run_folder, kept_segment made, bool is_last,
                               std::string& error) {
  return keep(false, run_folder, std::move(made), is_last, error);
}

bool segment_store::complete(std::string& error) {
  complete_ = write_line(totals_name, totals()) && fsync(folder_) == 0;
  return complete_ || fail(error);
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
