// Judges whether a frame is fit for a thumbnail: neither black nor flat, and sharp.
#pragma once

#include <string_view>

// The size of the grey frames that are measured: large enough for a blurred frame to differ from
// a sharp one, small enough to be measured in a millisecond.
constexpr int measured_width = 640;
constexpr int measured_height = 360;

struct frame_measure {
  double brightness = 0.0;  // mean, 0 black to 255 white
  double contrast = 0.0;    // standard deviation of the same
  double sharpness = 0.0;   // variance of the differences between a point and its four neighbours

  // True for black frames and those of a fade that are nearly so.
  bool black() const;

  // False for black and for flat frames, such as a title's ground before the title appears.
  bool usable() const;
};

// Measures one frame of measured_width by measured_height bytes, line by line. False when `grey`
// has another size: the engine gave no frame.
bool measure_frame(std::string_view grey, frame_measure& measure);
