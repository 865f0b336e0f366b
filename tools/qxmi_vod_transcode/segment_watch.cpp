#include "tools/qxmi_vod_transcode/segment_watch.h"

#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tools/qxmi_vod_transcode/content_sum.h"

namespace {

using clock_type = std::chrono::steady_clock;

// How long the kernel may write a segment to the disk by itself before the tool waits for it: a
// tool that waits obeys no signals.
constexpr std::chrono::milliseconds write_back_time{200};

constexpr std::size_t longest_landing = 65536;
constexpr std::size_t read_size = 65536;

std::string new_run_name() {
  std::random_device random;
  return hexadecimal(std::uint64_t{random()} << 32 | random());
}

unique_fd open_in(int folder, const std::string& name) {
  return unique_fd(openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

std::string or_none(const std::string& mark) {
  return mark.empty() ? "-" : mark;
}

}  // namespace

segment_watch::segment_watch(encoder_watch& encoder, segment_store& store, const segment_plan& plan,
                             const segment_run& run, int folder)
    : encoder_(encoder), store_(store), plan_(plan), run_(run), folder_(folder),
      name_(new_run_name()), marks_(run.first_frame(plan), plan.frames),
      picture_in_place_(run.is_whole()), sound_in_place_(!run.seeks_sound(plan)) {}

bool segment_watch::on_tick(const child_process& child, bool suspended) {
  processor_seconds_ = std::chrono::duration_cast<std::chrono::seconds>(child.cpu_time()).count();
  read_marks();
  check_place();
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

void segment_watch::check_place() {
  if (!picture_in_place_) { check_picture(); }
  if (!sound_in_place_) { check_sound(); }
}

void segment_watch::check_picture() {
  const std::string mark = marks_.mark(run_.picture);
  picture_in_place_ = !mark.empty() && mark == store_.pictures().back().next;
  const bool is_over = !mark.empty() || exists(picture_segment_name(run_.picture + 1));
  misses_ = misses_ || (is_over && !picture_in_place_);
}

void segment_watch::check_sound() {
  const unique_fd file = open_in(folder_, run_landing);
  std::string list;
  std::int64_t time = 0;
  if (!file.valid() || !read_all(file.get(), longest_landing, list) || !read_landing(list, time)) {
    misses_ = misses_ || exists(sound_segment_name(run_.sound + 1));
    return;
  }
  // Its time 0 is the first packet of the lead.
  sound_in_place_ = time <= 0;
  misses_ = misses_ || !sound_in_place_;
}

bool segment_watch::exists(const std::string& name) const {
  struct stat status = {};
  return fstatat(folder_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

std::int64_t segment_watch::count(const stream_state& stream) const {
  return static_cast<std::int64_t>(stream.picture ? store_.pictures().size()
                                                  : store_.sounds().size());
}

std::string segment_watch::next_name(const stream_state& stream, std::int64_t ahead) const {
  const std::int64_t segment = count(stream) + ahead;
  return stream.picture ? picture_segment_name(segment) : sound_segment_name(segment);
}

// A segment is finished when the engine has begun the next one.
void segment_watch::take_finished(stream_state& stream) {
  if (!exists(next_name(stream, 1))) { return; }
  if (!stream.writing_back) {
    const unique_fd file = open_in(folder_, next_name(stream, 0));
    if (file.valid()) { sync_file_range(file.get(), 0, 0, SYNC_FILE_RANGE_WRITE); }
    stream.writing_back = true;
    stream.since = clock_type::now();
    return;
  }
  if (clock_type::now() - stream.since < write_back_time) { return; }
  stream.writing_back = false;
  keep(stream, false);
}

bool segment_watch::keep(const stream_state& stream, bool is_last) {
  kept_segment made;
  made.run = name_;
  const std::int64_t segment = count(stream);
  made.first = stream.picture ? or_none(marks_.mark(segment)) : "-";
  made.next = stream.picture ? or_none(marks_.mark(segment + 1)) : "-";
  return stream.picture ? store_.keep_picture(folder_, made, is_last, failure_)
                        : store_.keep_sound(folder_, made, is_last, failure_);
}

bool segment_watch::keep_rest(const stream_state& stream) {
  while (exists(next_name(stream, 0))) {
    if (!keep(stream, !exists(next_name(stream, 1)))) { return false; }
  }
  return true;
}

bool segment_watch::finish() {
  off_t before = 0;
  do {
    before = marks_read_;
    read_marks();
  } while (marks_read_ != before);
  check_place();
  misses_ = misses_ || !knows_its_place() || !exists(next_name(picture_, 0));
  return !misses_ && keep_rest(picture_) && keep_rest(sound_) && store_.complete(failure_);
}
