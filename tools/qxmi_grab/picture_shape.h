// The size of the finished picture, and how the source is cropped for it.
#pragma once

#include <string>

#include "tools/media/media_info.h"

// The height if the given one is a word ("audio") or not meaningful ("0").
constexpr int default_height = 360;

// The most lines that a drawing, which has no source to be measured by, may have.
constexpr int largest_height = 2160;

// What --height says: a whole number above 0, else default_height.
int height_from_text(const std::string& text);

// The size to which the source is scaled, the part of it that is cropped, and the size of the
// result; pixels are square.
struct picture_shape {
  picture_size whole;  // about the scale of the cropped part, never larger than the source
  picture_size taken;  // from the middle of the whole
  picture_size made;
};

// `height` lines, but never more than the source shows. With `clip` the picture is cut to 16:9,
// else it keeps its shape. The width is the nearest even number.
picture_shape shape_of(const video_stream& source, int height, bool clip);

// The size of a drawing of `height` lines: 16:9, at most largest_height.
picture_size drawing_size(int height);
