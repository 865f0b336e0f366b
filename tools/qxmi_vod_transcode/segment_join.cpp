#include "tools/qxmi_vod_transcode/segment_join.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <deque>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tools/media/engine.h"
#include "tools/media/source_file.h"
#include "tools/qxmi_vod_transcode/encoder_watch.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"

namespace {

constexpr const char* list_name = "list";
constexpr const char* sound_name = "sound.adts";
constexpr std::size_t copied_at_once = 1U << 24;

constexpr double decoded_seconds = 2.0;
// An engine takes most of its time to start, and starts on one processor.
constexpr std::size_t decoded_at_once = 2;
constexpr double microsecond = 1e-6;

unique_fd create_in(int folder, const char* name) {
  unlinkat(folder, name, 0);
  return unique_fd(openat(folder, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                          S_IRUSR | S_IWUSR));
}

bool write_list(int folder, const std::string& text) {
  const unique_fd file = create_in(folder, list_name);
  return file.valid() && write_all(file.get(), text);
}

// Appends all of `source`; stops early, with ECANCELED, if the tool is asked to stop.
bool append_file(const encode_task& task, int target, int source) {
  ssize_t count = 0;
  do {
    if (!may_go_on(task)) {
      errno = ECANCELED;
      return false;
    }
    count = copy_bytes(source, target, copied_at_once);
  } while (count > 0);
  return count == 0;
}

// Sound of bare packets is joined by appending.
bool write_sound(const encode_task& task, int folder, std::size_t segments) {
  const unique_fd file = create_in(folder, sound_name);
  for (std::size_t segment = 0; file.valid() && segment < segments; ++segment) {
    const std::string name = sound_segment_name(static_cast<std::int64_t>(segment));
    const unique_fd source(openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!source.valid() || !append_file(task, file.get(), source.get())) { return false; }
  }
  return file.valid();
}

// `sound` is the name of its file; empty without.
bool run_join(const encode_task& task, const output_file& output, const segment_plan& plan,
              int folder, const std::string& sound, encode_failure& failure) {
  const std::string url = "file:/proc/self/fd/" + std::to_string(folder) + "/";
  const std::string sound_url = sound.empty() ? "" : url + sound;
  program_request request;
  request.argv = join_command(plan, url + list_name, sound_url, output.url());
  request.confined_to.emplace().readable = {folder};
  request.confined_to->writable = output.fd();
  request.confined_to->largest_file = largest_output(task.media, task.settings);
  supervise(request, task);
  encoder_watch watch(task.line, task.progress, task.cap);
  const program_result result = run_program(request, watch);
  // On a disk that becomes full while the index is moved to the front, only its words say so.
  if (result.success() && !has_complained(result)) { return true; }
  failure = failure_of(result, task, output.url());
  failure.of_output = true;
  return false;
}

// A place in the result that an engine decodes.
struct decoded_place {
  decoded_place(const encode_task& task, double from)
      : begin(from), watch(task.line, task.progress, task.cap) {}

  double begin;  // seconds
  encoder_watch watch;
};

std::vector<double> ends_and_seams(const segment_plan& plan, const segment_store& store) {
  const double length = static_cast<double>(store.frames()) / plan.rate.value();
  std::vector<double> places = {0.0, length - decoded_seconds};
  for (const std::int64_t segment : store.seams()) {
    const double seam = static_cast<double>(plan.picture_time_us(segment)) * microsecond;
    places.push_back(seam - decoded_seconds / 2);
  }
  for (double& place : places) {
    place = std::max(0.0, place);
  }
  return places;
}

bool has_decoded(const program_result& end, const source_file& result, double begin,
                 encode_failure& failure) {
  if (end.success() && !has_complained(end)) { return true; }
  if (is_interruption(end)) {
    failure = {true, engine_cause(end, result.url()), true};
    return false;
  }
  char place[48];
  std::snprintf(place, sizeof place, "%.2f s", begin);
  failure = {false, std::string("cannot be transcoded: the result does not decode at ") + place};
  return false;
}

// Decodes places of the result, several at the same time.
class place_decoder {
public:
  place_decoder(const encode_task& task, const source_file& result)
      : task_(task), result_(result) {}

  bool decode(const std::vector<double>& places, encode_failure& failure) {
    for (const double place : places) {
      if (group_.count() == decoded_at_once && !wait_for_one(failure)) { return false; }
      start(place);
    }
    while (group_.count() > 0) {
      if (!wait_for_one(failure)) { return false; }
    }
    return true;
  }

private:
  void start(double place) {
    decoded_place& started = places_.emplace_back(task_, place);
    program_request request =
        confined_request(decode_command(result_.url(), place, decoded_seconds), result_);
    supervise(request, task_);
    group_.start(std::move(request), started.watch);
  }

  bool wait_for_one(encode_failure& failure) {
    run_observer* of = nullptr;
    const program_result end = group_.wait_for_one(of);
    const auto ended = std::find_if(places_.begin(), places_.end(),
                                    [of](const auto& place) { return &place.watch == of; });
    return has_decoded(end, result_, ended->begin, failure);
  }

  const encode_task& task_;
  const source_file& result_;
  std::deque<decoded_place> places_;
  program_group group_;
};

bool ends_and_seams_decode(const encode_task& task, const output_file& output,
                           const segment_plan& plan, const segment_store& store,
                           encode_failure& failure) {
  source_file result;
  if (!result.open(output.temporary_path(), failure.cause)) {
    failure.of_output = failure.interrupted = true;
    return false;
  }
  return place_decoder(task, result).decode(ends_and_seams(plan, store), failure);
}

}  // namespace

bool join_segments(const encode_task& task, const output_file& output, const segment_plan& plan,
                   const segment_store& store, int folder, encode_failure& failure) {
  const auto pictures = static_cast<std::int64_t>(store.pictures().size());
  const std::size_t sounds = store.sounds().size();
  const bool in_segments = sounds > 0 && !plan.sound_is_whole;
  if (!write_list(folder, join_list(plan, pictures)) ||
      (in_segments && !write_sound(task, folder, sounds))) {
    failure = system_failure(errno);
    return false;
  }
  std::string sound;
  if (sounds > 0) { sound = in_segments ? sound_name : whole_sound_name(0); }
  const bool joined = run_join(task, output, plan, folder, sound, failure);
  unlinkat(folder, sound_name, 0);
  unlinkat(folder, list_name, 0);
  return joined && ends_and_seams_decode(task, output, plan, store, failure);
}
