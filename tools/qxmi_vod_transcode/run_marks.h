// Sums of the pictures around the beginning of each segment. The run before a seam and the run
// after it both filter these pictures: equal sums show that the later one continues where the
// earlier one was, with the same pictures.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

class run_marks_reader {
public:
  // `first_frame` is that of the run, `frames` is the length of a segment.
  run_marks_reader(std::int64_t first_frame, std::int64_t frames)
      : first_frame_(first_frame), frames_(frames) {}

  // Takes one line of the engine's list; comments and a line that is not complete are ignored.
  void take_line(std::string_view line);

  // The mark of a segment's beginning; empty until all of its pictures have been seen.
  std::string mark(std::int64_t segment) const;

private:
  std::int64_t first_frame_;
  std::int64_t frames_;
  std::map<std::int64_t, std::map<std::int64_t, std::string>> sums_;  // by segment and picture
};

// Whether the pictures of a mark differ, so that hardly any other place has the same mark.
bool shows_movement(std::string_view mark);

// The time stamp in the first line of the engine's list of packets (framecrc); false if there is
// none yet.
bool read_landing(std::string_view list, std::int64_t& time);

// How long the sound of the file `name` lasts by its time stamps, in seconds, from the engine's
// list of the files it has finished ("NAME,BEGIN,END" each): from the end of the file before, if
// there is one, so that a jump between the two counts as well. False if it is not there.
bool read_sound_length(std::string_view list, const std::string& name, double& seconds);
