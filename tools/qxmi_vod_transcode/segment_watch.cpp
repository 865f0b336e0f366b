#include "tools/qxmi_vod_transcode/segment_watch.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"
#include "tools/qxmi_vod_transcode/random_word.h"

namespace {

using clock_type = std::chrono::steady_clock;

// How long the kernel may write a segment to the disk by itself before the tool waits for it: a
// tool that waits obeys no signals.
constexpr std::chrono::milliseconds write_back_time{200};

// The limit on the size of a file does not keep an engine from making many.
constexpr std::chrono::seconds size_check_interval{2};
constexpr std::uint64_t least_file = 4096;  // what even an empty file counts
constexpr std::uint64_t block = 512;

constexpr std::size_t longest_landing = 65536;
constexpr std::size_t longest_list = std::size_t{4} << 20U;

// By how many seconds the time stamps of a segment of sound may miss the length of its packets.
constexpr double most_uneven = 0.002;

constexpr std::size_t read_size = 65536;

unique_fd open_in(int folder, const std::string& name) {
  return unique_fd(openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

// What the files in `folder` occupy; no longer counted once it is more than `largest`.
std::uint64_t occupied(int folder, std::uint64_t largest) {
  unique_fd fd(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const unique_dir entries(fd.valid() ? fdopendir(fd.get()) : nullptr);
  if (!entries) { return 0; }
  static_cast<void>(fd.release());
  std::uint64_t bytes = 0;
  const dirent* entry = nullptr;
  while (bytes <= largest && (entry = readdir(entries.get())) != nullptr) {
    struct stat status = {};
    if (fstatat(folder, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) { continue; }
    bytes += std::max(least_file, static_cast<std::uint64_t>(status.st_blocks) * block);
  }
  return bytes;
}

std::string or_none(const std::string& mark) {
  return mark.empty() ? "-" : mark;
}

}  // namespace

segment_watch::segment_watch(encoder_watch& encoder, segment_store& store, keep_turn& turn,
                             const segment_plan& plan, const segment_run& run, int folder,
                             std::uint64_t largest)
    : encoder_(encoder), store_(store), turn_(turn), folder_(folder), largest_(largest),
      name_(random_word()), marks_(run.first_frame(plan), plan.frames),
      picture_in_place_(run.pictures.first == 0 || !run.has_pictures()),
      sound_in_place_(!run.seeks_sound(plan)),
      picture_{segment_kind::picture, run.pictures, run.pictures.first, false, {}},
      sound_{store.sound_kind(),
             run.has_sound(plan) ? run.sounds : segment_range{0, 0},
             run.sounds.first,
             false,
             {}} {}

bool segment_watch::on_tick(const child_process& child, bool suspended) {
  processor_seconds_ = std::chrono::duration_cast<std::chrono::seconds>(child.cpu_time()).count();
  read_marks();
  check_place();
  if (clock_type::now() >= next_size_check_) { check_size(); }
  if (!gives_up() && knows_its_place()) {
    take_finished(picture_);
    take_finished(sound_);
  }
  return encoder_.on_tick(child, suspended);
}

// On its way to the first frame the engine only decodes.
std::int64_t segment_watch::work_done() const {
  return knows_its_place() ? encoder_.work_done() : processor_seconds_;
}

void segment_watch::read_marks() {
  const unique_fd file = open_in(folder_, run_marks);
  std::string bytes(read_size, '\0');
  const ssize_t count =
      file.valid() ? pread(file.get(), bytes.data(), bytes.size(), marks_read_) : 0;
  std::string_view rest(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  std::size_t end = 0;
  while ((end = rest.find('\n')) != std::string_view::npos) {
    marks_.take_line(rest.substr(0, end));
    rest.remove_prefix(end + 1);
    marks_read_ += static_cast<off_t>(end + 1);
  }
}

void segment_watch::check_size() {
  next_size_check_ = clock_type::now() + size_check_interval;
  if (occupied(folder_, largest_) > largest_) { failure_ = {true, std::strerror(EFBIG)}; }
}

void segment_watch::check_place() {
  if (!picture_in_place_) { check_picture(); }
  if (!sound_in_place_) { check_sound(); }
}

// Where the segment before is not there yet, the seam is looked at when all of them are.
void segment_watch::check_picture() {
  const std::int64_t first = picture_.range.first;
  const std::string mark = marks_.mark(first);
  const auto before = store_.pictures().find(first - 1);
  const bool is_known = before != store_.pictures().end();
  picture_in_place_ = !mark.empty() && (!is_known || mark == before->second.next);
  const bool is_over = !mark.empty() || exists(picture_, first + 1);
  misses_ = misses_ || (is_over && !picture_in_place_);
}

void segment_watch::check_sound() {
  const unique_fd file = open_in(folder_, run_landing);
  std::string list;
  std::int64_t time = 0;
  if (!file.valid() || !read_all(file.get(), longest_landing, list) || !read_landing(list, time)) {
    misses_ = misses_ || exists(sound_, sound_.range.first + 1);
    return;
  }
  // Its time 0 is the first packet of the lead.
  sound_in_place_ = time <= 0;
  misses_ = misses_ || !sound_in_place_;
}

bool segment_watch::exists(const stream_state& stream, std::int64_t segment) const {
  struct stat status = {};
  const std::string name = segment_name(stream.kind, segment);
  return fstatat(folder_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

// Without a packet of a stream the engine makes an empty file.
bool segment_watch::has_content(const stream_state& stream, std::int64_t segment) const {
  struct stat status = {};
  const std::string name = segment_name(stream.kind, segment);
  return fstatat(folder_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && status.st_size > 0;
}

// A segment is finished when the engine has begun the next one.
void segment_watch::take_finished(stream_state& stream) {
  if (stream.next == stream.range.end || !exists(stream, stream.next + 1)) { return; }
  if (!stream.writing_back) {
    const unique_fd file = open_in(folder_, segment_name(stream.kind, stream.next));
    if (file.valid()) { sync_file_range(file.get(), 0, 0, SYNC_FILE_RANGE_WRITE); }
    stream.writing_back = true;
    stream.since = clock_type::now();
    return;
  }
  const clock_type::time_point now = clock_type::now();
  if (now - stream.since < write_back_time || !turn_.is_free(now)) { return; }
  stream.writing_back = false;
  keep(stream, false);
  turn_.taken(clock_type::now());
}

// Bare packets of sound follow each other without time stamps. Where those jump, because the engine
// sets up its filters once more when the sound of the source changes its form, all later sound
// would be too early or too late.
bool segment_watch::is_even_sound(bool is_last) const {
  const std::string name = segment_name(segment_kind::sound, sound_.next);
  const unique_fd list = open_in(folder_, run_sound_times);
  const unique_fd file = open_in(folder_, name);
  std::string text;
  double seconds = 0.0;
  segment_content content;
  if (!list.valid() || !read_all(list.get(), longest_list, text) ||
      !read_sound_length(text, name, seconds) || !file.valid() ||
      !read_sound_segment(file.get(), content)) {
    return false;
  }
  constexpr double packet = double{sound_packet_samples} / sound_output_rate;
  const double difference = seconds - packet * static_cast<double>(content.frames);
  // The very last packet may be shorter.
  return difference < most_uneven && difference > -most_uneven - (is_last ? packet : 0.0);
}

bool segment_watch::keep(stream_state& stream, bool is_last) {
  if (stream.kind == segment_kind::sound && !is_even_sound(is_last)) {
    failure_ = {false, "its sound changes its form"};
    failure_.changes_sound = true;
    return false;
  }
  kept_segment made;
  made.run = name_;
  made.is_last = is_last;
  const bool picture = stream.kind == segment_kind::picture;
  made.first = picture ? or_none(marks_.mark(stream.next)) : "-";
  made.next = picture ? or_none(marks_.mark(stream.next + 1)) : "-";
  const segment_placing placing =
      store_.keep(stream.kind, stream.next, folder_, std::move(made), failure_);
  if (placing == segment_placing::failed) { return false; }
  overtaken_ = overtaken_ || placing == segment_placing::was_there;
  if (picture) { kept_frames_ += store_.pictures().at(stream.next).content.frames; }
  ++stream.next;
  return true;
}

// Whether the engine has not even begun the last segment, which is never taken before the engine
// has ended; or not shown what comes after it.
bool segment_watch::lacks_end(const stream_state& stream) const {
  if (stream.range.is_empty()) { return false; }
  const bool is_open = stream.range.is_open();
  const bool lacks_mark =
      stream.kind == segment_kind::picture && !is_open && marks_.mark(stream.range.end).empty();
  return !has_content(stream, is_open ? stream.next : stream.range.end - 1) || lacks_mark;
}

// A run to the end of the output finds out which segment is the last one. The engine takes a source
// that can no longer be read for one that has ended.
bool segment_watch::keep_rest(stream_state& stream, bool read_badly) {
  const bool is_open = stream.range.is_open();
  const bool is_cut_off = read_badly && (is_open || lacks_end(stream));
  while (!overtaken_ && stream.next != stream.range.end && exists(stream, stream.next)) {
    const bool is_end = !exists(stream, stream.next + 1);
    if (is_end && is_cut_off) { return false; }
    if (!keep(stream, is_end && is_open)) { return false; }
  }
  return !is_cut_off;
}

void segment_watch::look_for_lacks() {
  misses_ = misses_ || !knows_its_place() || lacks_end(picture_);
  if (!misses_ && lacks_end(sound_)) {
    failure_ = {false, "cannot be transcoded: the result lacks video or audio"};
  }
}

bool segment_watch::finish(bool read_badly) {
  off_t before = 0;
  do {
    before = marks_read_;
    read_marks();
  } while (marks_read_ != before);
  check_place();
  check_size();
  if (!read_badly) { look_for_lacks(); }
  return !gives_up() && knows_its_place() && keep_rest(picture_, read_badly) &&
         keep_rest(sound_, read_badly);
}
