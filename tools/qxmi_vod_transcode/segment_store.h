// The finished segments of one transcode in their folder. Each is complete, on the disk, and has a
// record with its sum before it has its name; what is found to be otherwise counts as missing.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

  // Reads what the folder holds, up to the first segment that is missing or damaged; stops early if
  // the tool is asked to stop.
  void scan();

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

  // Takes the next segment, a file that an engine has finished in `run_folder`. `made` holds what
  // is known of it besides its content. The last ones may be shorter than the others. False with
  // the cause in `error`.
  bool keep_picture(int run_folder, kept_segment made, bool is_last, std::string& error);
  bool keep_sound(int run_folder, kept_segment made, bool is_last, std::string& error);

  // Records that there are no more segments.
  bool complete(std::string& error);

  // Removes the segments from these on.
  void cut(std::int64_t picture, std::int64_t sound);

  // A number that is kept with the segments: how often a run did not continue them where it should
  // have. 0 at first.
  int reach() const { return reach_; }
  void set_reach(int reach);

private:
  bool load(bool picture, std::int64_t segment, kept_segment& kept) const;
  bool has_right_length(bool picture, const segment_content& content, bool is_last) const;
  bool keep(bool picture, int run_folder, kept_segment made, bool is_last, std::string& error);
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
