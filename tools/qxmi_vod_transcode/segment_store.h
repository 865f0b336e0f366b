// The finished segments of one transcode in their folder. Each is complete, on the disk, and has a
// record with its sum before it has its name; what is found to be otherwise counts as missing.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/qxmi_vod_transcode/encode_failure.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"
#include "tools/qxmi_vod_transcode/segment_record.h"

using segment_map = std::map<std::int64_t, kept_segment>;

// What a segment that cannot be read is taken for: trouble that may pass until the next run of the
// tool, which must not cost what is finished; or missing, if it cannot be read a second time
// either.
enum class unreadable_segment { trouble, missing };

class segment_store {
public:
  // `folder` must stay open, and `plan` exist, as long as this object does. Whether the sound is
  // made as a whole may change in the plan; scan() follows.
  segment_store(int folder, const segment_plan& plan) : folder_(folder), plan_(plan) {}

  // Reads what the folder holds, and removes whole segments that do not belong to this output.
  // `goes_on` is asked before each segment. False if it says no, or with the failure if a segment
  // cannot be read: whether that is damaged is then not known. One that could not be read the last
  // time either counts as damaged.
  bool scan(const std::function<bool()>& goes_on, encode_failure& failure,
            unreadable_segment unreadable = unreadable_segment::trouble);

  // What the sound is made of: segments, or one file as a whole.
  segment_kind sound_kind() const {
    return plan_.sound_is_whole ? segment_kind::whole_sound : segment_kind::sound;
  }

  // Whether somebody who worked in the folder has found that the sound must be made as a whole. If
  // that cannot be written, the next run of the tool finds it out once more.
  bool needs_whole_sound() const;
  void set_needs_whole_sound(bool needs) const;

  // The complete segments by their numbers, with gaps where one is missing.
  const segment_map& all(segment_kind kind) const {
    return kind == segment_kind::picture ? pictures_ : sounds_;
  }
  const segment_map& pictures() const { return pictures_; }
  const segment_map& sounds() const { return sounds_; }

  // Whether these are all segments of the output, and that is recorded.
  bool is_complete() const { return complete_; }

  // Whether all segments from the first one to the end of the output are there.
  bool has_all() const { return has_all_of(segment_kind::picture) && has_all_sound(); }

  // What is missing, in order. The end of the last range is open unless it is known where the
  // output ends.
  std::vector<segment_range> missing(segment_kind kind) const;

  // The picture segments that another run than that of the segment before them made, and whose
  // picture does not continue that segment.
  std::vector<std::int64_t> bad_seams() const;

  // The beginnings of runs except the first one, in picture segments, wherever the segment before
  // is there.
  std::vector<std::int64_t> seams() const;

  std::int64_t frames() const;
  std::int64_t packets() const;

  // Takes a segment, a file that an engine has finished in `run_folder`. `made` holds what is known
  // of it besides its content. Only the last one of the output may be shorter than the others. If
  // another machine was faster, its segment is taken instead.
  segment_placing keep(segment_kind kind, std::int64_t segment, int run_folder, kept_segment made,
                       encode_failure& failure);

  // Asked right before a segment gets its name: whether anybody still wants it.
  void set_fence(std::function<bool()> may_keep) { may_keep_ = std::move(may_keep); }

  // Records that all segments are there.
  bool complete(encode_failure& failure);

  // Removes the picture segments that end where no other run can continue them, because it is not
  // known what comes next; and the last one before each gap if the pictures stand still at its end
  // but not one segment earlier: there, a run in the wrong place would not be noticed.
  void remove_bad_ends();

  // Removes segments: one, those of one run from there on, or all, of sound or of both kinds, also
  // those that were not read.
  void remove(segment_kind kind, std::int64_t segment);
  void remove_run(std::int64_t segment);
  void clear_sound();
  void clear();

  // Removes the runs that begin at these bad seams. Where one of them goes, the next seam says
  // nothing about the run after it, which stays.
  void remove_runs_at(const std::vector<std::int64_t>& bad_seams);

  // Whether there is any finished picture segment in `folder`, damaged or not; true if the folder
  // cannot be read.
  static bool is_begun(int folder);

  // A number that is kept with the segments: how often a run did not continue them where it should
  // have. 0 at first.
  int reach() const { return reach_; }
  void set_reach(int reach);

  // What was found out about the source, one line by any other name than the files here have; empty
  // if nothing. If it cannot be written, the next run of the tool finds it out once more.
  std::string note(const std::string& name) const { return read_sealed_line(folder_, name); }
  void set_note(const std::string& name, const std::string& text) const;

private:
  segment_map& all_of(segment_kind kind) {
    return kind == segment_kind::picture ? pictures_ : sounds_;
  }
  bool has_all_of(segment_kind kind) const;
  bool has_all_sound() const { return plan_.packets == 0 || has_all_of(segment_kind::sound); }
  bool scan_kind(segment_kind kind, const std::function<bool()>& goes_on,
                 unreadable_segment unreadable, encode_failure& failure);
  bool is_unreadable_again(const std::string& name, encode_failure& failure) const;
  bool fits(segment_kind kind, std::int64_t segment, const kept_segment& kept) const;
  bool is_bad_end(std::int64_t segment) const;
  void not_complete();
  std::string totals() const;

  int folder_;
  const segment_plan& plan_;
  segment_map pictures_;
  segment_map sounds_;
  bool complete_ = false;
  int reach_ = 0;
  std::function<bool()> may_keep_ = [] { return true; };
};
