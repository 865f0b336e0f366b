#include "tools/qxmi_vod_transcode/segment_store.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <numeric>
#include <utility>

#include <unistd.h>

#include "platform/directories.h"
#include "tools/qxmi_vod_transcode/run_marks.h"

namespace {

constexpr const char* totals_name = "complete";
constexpr const char* reach_name = "reach";

constexpr const char* sound_note = "sound";
constexpr const char* sound_whole = "whole";
constexpr const char* sound_divided = "in segments";

std::int64_t sum_of_frames(const segment_map& segments) {
  return std::accumulate(
      segments.begin(), segments.end(), std::int64_t{0},
      [](std::int64_t sum, const auto& entry) { return sum + entry.second.content.frames; });
}

}  // namespace

bool segment_store::fits(segment_kind kind, std::int64_t segment, const kept_segment& kept) const {
  if (kind == segment_kind::whole_sound) { return segment == 0 && kept.is_last; }
  const bool picture = kind == segment_kind::picture;
  const std::int64_t full = picture ? plan_.frames : plan_.packets;
  const std::int64_t frames = kept.content.frames;
  if (frames > full || (frames < full && !kept.is_last)) { return false; }
  const segment_map& others = all(kind);
  const bool others_follow = !others.empty() && others.rbegin()->first > segment;
  if (kept.is_last && others_follow) { return false; }
  // One encoder's settings, one description.
  return !picture || pictures_.empty() ||
         pictures_.begin()->second.content.description == kept.content.description;
}

// Trouble with a disk or a server may pass; if it does not, that segment must be made again.
bool segment_store::is_unreadable_again(const std::string& name, encode_failure& failure) const {
  const int error = errno;
  if (note(unreadable_note) == name) { return true; }
  set_note(unreadable_note, name);
  failure = system_failure(error);
  return false;
}

bool segment_store::scan_kind(segment_kind kind, const std::function<bool()>& goes_on,
                              unreadable_segment unreadable, encode_failure& failure) {
  std::vector<std::int64_t> segments;
  if (!list_segments(folder_, kind, segments)) {
    failure = system_failure(errno);
    return false;
  }
  // From the end on: what follows the last one of the output shows that it is not the last one.
  std::sort(segments.rbegin(), segments.rend());
  for (const std::int64_t segment : segments) {
    if (!goes_on()) { return false; }
    kept_segment kept;
    segment_state state = load_segment(folder_, kind, segment, kept);
    const bool is_trouble = unreadable == unreadable_segment::trouble;
    if (state == segment_state::unreadable && is_trouble &&
        !is_unreadable_again(segment_name(kind, segment), failure)) {
      return false;
    }
    if (state == segment_state::unreadable && !is_trouble) {
      state = load_segment(folder_, kind, segment, kept);
    }
    if (state != segment_state::good) { continue; }
    if (fits(kind, segment, kept)) {
      all_of(kind).emplace(segment, kept);
    } else {
      // It would keep its name from the one that belongs here: none that is whole is replaced.
      remove_segment(folder_, kind, segment, kept.content.sum);
    }
  }
  return true;
}

bool segment_store::scan(const std::function<bool()>& goes_on, encode_failure& failure,
                         unreadable_segment unreadable) {
  pictures_.clear();
  sounds_.clear();
  complete_ = false;
  for (const segment_kind kind : {segment_kind::picture, sound_kind()}) {
    if (!scan_kind(kind, goes_on, unreadable, failure)) { return false; }
  }
  complete_ = has_all() && note(totals_name) == totals();
  reach_ = std::max(reach_, std::atoi(note(reach_name).c_str()));
  unlinkat(folder_, unreadable_note, 0);
  return true;
}

// If it cannot be written, the next run of the tool finds it out once more.
void segment_store::set_reach(int reach) {
  reach_ = reach;
  set_note(reach_name, std::to_string(reach));
}

bool segment_store::needs_whole_sound() const {
  return note(sound_note) == sound_whole;
}

void segment_store::set_needs_whole_sound(bool needs) const {
  set_note(sound_note, needs ? sound_whole : sound_divided);
}

void segment_store::set_note(const std::string& name, const std::string& text) const {
  write_sealed_line(folder_, name, text, name + ".part");
}

std::int64_t segment_store::frames() const {
  return sum_of_frames(pictures_);
}

std::int64_t segment_store::packets() const {
  return sum_of_frames(sounds_);
}

std::string segment_store::totals() const {
  return std::to_string(pictures_.size()) + " " + std::to_string(frames()) + " " +
         std::to_string(sounds_.size()) + " " + std::to_string(packets());
}

bool segment_store::has_all_of(segment_kind kind) const {
  const segment_map& segments = all(kind);
  const auto lasts = std::count_if(segments.begin(), segments.end(),
                                   [](const auto& entry) { return entry.second.is_last; });
  // Numbers from 0 on without a gap, and the last one is where the output ends.
  return lasts == 1 && segments.rbegin()->second.is_last &&
         segments.rbegin()->first == static_cast<std::int64_t>(segments.size()) - 1;
}

std::vector<segment_range> segment_store::missing(segment_kind kind) const {
  std::vector<segment_range> gaps;
  std::int64_t next = 0;
  bool ended = false;
  for (const auto& [segment, kept] : all(kind)) {
    if (segment > next) { gaps.push_back({next, segment}); }
    next = segment + 1;
    ended = kept.is_last;
  }
  if (ended) { return gaps; }
  gaps.push_back({next, segment_range::open});
  return gaps;
}

std::vector<std::int64_t> segment_store::seams() const {
  std::vector<std::int64_t> found;
  for (const auto& [segment, kept] : pictures_) {
    const auto before = pictures_.find(segment - 1);
    if (before != pictures_.end() && before->second.run != kept.run) { found.push_back(segment); }
  }
  return found;
}

std::vector<std::int64_t> segment_store::bad_seams() const {
  std::vector<std::int64_t> found;
  for (const std::int64_t segment : seams()) {
    const std::string& due = pictures_.at(segment - 1).next;
    if (due == "-" || due != pictures_.at(segment).first) { found.push_back(segment); }
  }
  return found;
}

segment_placing segment_store::keep(segment_kind kind, std::int64_t segment, int run_folder,
                                    kept_segment made, encode_failure& failure) {
  if (!read_new_segment(run_folder, kind, segment, made.content, failure)) {
    return segment_placing::failed;
  }
  if (!fits(kind, segment, made)) {
    failure = {true, "the engine made an incomplete segment"};
    return segment_placing::failed;
  }
  const segment_placing placing =
      place_segment(run_folder, folder_, kind, segment, made, may_keep_, failure);
  if (placing != segment_placing::failed) { all_of(kind)[segment] = std::move(made); }
  return placing;
}

bool segment_store::complete(encode_failure& failure) {
  complete_ =
      write_sealed_line(folder_, totals_name, totals(), "complete.part") && sync_names(folder_);
  if (!complete_) { failure = system_failure(errno); }
  return complete_;
}

bool segment_store::is_bad_end(std::int64_t segment) const {
  const kept_segment& kept = pictures_.at(segment);
  if (kept.is_last || pictures_.count(segment + 1) > 0) { return false; }
  if (kept.next == "-") { return true; }
  const auto before = pictures_.find(segment - 1);
  return before != pictures_.end() && before->second.run == kept.run &&
         !shows_movement(kept.next) && shows_movement(before->second.next);
}

void segment_store::remove_bad_ends() {
  std::vector<std::int64_t> numbers;
  for (const auto& [segment, kept] : pictures_) {
    numbers.push_back(segment);
  }
  for (auto number = numbers.rbegin(); number != numbers.rend(); ++number) {
    if (is_bad_end(*number)) { remove(segment_kind::picture, *number); }
  }
}

void segment_store::not_complete() {
  unlinkat(folder_, totals_name, 0);
  complete_ = false;
}

void segment_store::remove(segment_kind kind, std::int64_t segment) {
  not_complete();
  const auto kept = all_of(kind).find(segment);
  if (kept == all_of(kind).end()) { return; }
  remove_segment(folder_, kind, segment, kept->second.content.sum);
  all_of(kind).erase(kept);
}

void segment_store::remove_run(std::int64_t segment) {
  const std::string run = pictures_.at(segment).run;
  for (auto kept = pictures_.find(segment);
       kept != pictures_.end() && kept->first == segment && kept->second.run == run;
       kept = pictures_.find(++segment)) {
    remove(segment_kind::picture, segment);
  }
}

void segment_store::remove_runs_at(const std::vector<std::int64_t>& bad_seams) {
  for (const std::int64_t segment : bad_seams) {
    if (pictures_.count(segment - 1) > 0) { remove_run(segment); }
  }
}

void segment_store::clear() {
  clear_sound();
  pictures_.clear();
  remove_segments(folder_, segment_kind::picture);
}

void segment_store::clear_sound() {
  not_complete();
  sounds_.clear();
  remove_segments(folder_, segment_kind::sound);
}

bool segment_store::is_begun(int folder) {
  std::vector<std::int64_t> segments;
  return !list_segments(folder, segment_kind::picture, segments) || !segments.empty();
}
