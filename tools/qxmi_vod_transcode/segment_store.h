// The finished segments of one transcode in their folder. Each is complete, on the disk, and has a
// record with its sum before it has its name; what is found to be otherwise counts as missing.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tools/qxmi_vod_transcode/encode_failure.h"
#include "tools/qxmi_vod_transcode/segment_file.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"

struct kept_segment {
  segment_content content;
  std::string run;    // of the engine that made it; no blanks
  std::string first;  // the mark of its beginning, and of the beginning of the next segment, which
  std::string next;   // the same run made as well or at least began; "-" if there is none
};

class segment_store {
public:
  // `folder` must stay open as long as this object exists.
  segment_store(int folder, const segment_plan& plan) : folder_(folder), plan_(plan) {}

  // Reads what the folder holds, up to the first segment that is missing or damaged. `goes_on` is
  // asked before each segment. False if it says no, or with the failure if a segment cannot be
  // read: whether that is damaged is then not known. One that could not be read the last time
  // either counts as damaged.
  bool scan(const std::function<bool()>& goes_on, encode_failure& failure);

  // The complete segments from the first one on.
  const std::vector<kept_segment>& pictures() const { return pictures_; }
  const std::vector<kept_segment>& sounds() const { return sounds_; }

  // Whether these are all segments of the output.
  bool is_complete() const { return complete_; }

  // The first picture segment that another run than that of the segment before it made, and whose
  // picture does not continue that segment; the number of segments if there is none.
  std::int64_t first_bad_seam() const;

  // The beginnings of runs except the first one, in picture segments.
  std::vector<std::int64_t> seams() const;

  std::int64_t frames() const;
  std::int64_t packets() const;

  // How many of the picture segments, at most `most`, a later run can best continue: it is known
  // what comes next, and if possible in pictures that differ from each other, so that a run in the
  // wrong place is noticed.
  std::int64_t best_end(std::int64_t most) const;

  // How many of the sound segments, at most `most`, a later run can continue: whole ones.
  std::int64_t best_sound_end(std::int64_t most) const;

  // Takes the next segment, a file that an engine has finished in `run_folder`. `made` holds what
  // is known of it besides its content. The last ones may be shorter than the others. False with
  // the failure.
  bool keep_picture(int run_folder, kept_segment made, bool is_last, encode_failure& failure);
  bool keep_sound(int run_folder, kept_segment made, bool is_last, encode_failure& failure);

  // Records that there are no more segments.
  bool complete(encode_failure& failure);

  // Removes the segments from these on.
  void cut(std::int64_t picture, std::int64_t sound);

  // Removes all that is in the folder of segments, also of those that were not read.
  void clear();

  // Whether there is any finished picture segment in `folder`, damaged or not.
  static bool is_begun(int folder);

  // A number that is kept with the segments: how often a run did not continue them where it should
  // have. 0 at first.
  int reach() const { return reach_; }
  void set_reach(int reach);

  // What was found out about the source, one line by any other name than the files here have; empty
  // if nothing. If it cannot be written, the next run of the tool finds it out once more.
  std::string note(const std::string& name) const { return read_line(name); }
  void set_note(const std::string& name, const std::string& text) const { write_line(name, text); }

private:
  enum class content_state { good, missing, unreadable };

  content_state load(bool picture, std::int64_t segment, kept_segment& kept) const;
  bool scan_stream(bool picture, const std::function<bool()>& goes_on, encode_failure& failure);
  bool is_unreadable_again(const std::string& name, encode_failure& failure) const;
  bool has_right_length(bool picture, const segment_content& content, bool is_last) const;
  bool keep(bool picture, int run_folder, kept_segment made, bool is_last, encode_failure& failure);
  void remove_segment(const std::string& name) const;
  bool write_line(const std::string& name, const std::string& text) const;
  std::string read_line(const std::string& name) const;
  std::string totals() const;

  int folder_;
  const segment_plan& plan_;
  std::vector<kept_segment> pictures_;
  std::vector<kept_segment> sounds_;
  bool complete_ = false;
  int reach_ = 0;
};
