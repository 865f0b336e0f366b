// The size of the picture that is made, and what is cut from the source for it.
#pragma once

#include <string>

#include "tools/media/media_info.h"

// The lines of a picture whose height is asked for in words ("audio") or not in earnest ("0").
constexpr int default_height = 360;

// The most lines that a drawing, which has no source to be measured by, may have.
constexpr int largest_height = 2160;

// What --height says: a whole number above 0, else default_height.
int height_from_text(const std::string& text);

// How large the source is scaled, what is taken of that and how large it becomes; pixels are
// square.
struct picture_shape {
  picture_size whole;  // about as large as what is taken becomes, never larger than the source
  picture_size taken;  // from the middle of the whole
  picture_size made;
};

// `height` lines, but never more than the source shows. With `clip` the picture is cut to 16:9,
// else it keeps its shape. The width is the nearest even number.
picture_shape shape_of(const video_stream& source, int height, bool clip);

// The size of a drawing of `height` lines: 16:9, at most largest_height.
picture_size drawing_size(int height);
