// The engine's filters that bring the pictures of any source to one form: progressive, one size
// with square pixels, one colour space. A stream's declaration applies to its beginning; a picture
// with its own marks is treated accordingly.
//
// Each function returns a part of a chain that ends with a comma, or nothing.
#pragma once

#include <string>

#include "tools/media/media_info.h"

// Which weights luma and the colour differences are made with.
enum class colour_matrix { bt601, bt709 };

// The usual matrix for the size, for a picture that does not declare one.
colour_matrix matrix_for(picture_size size);

// The engine's name of it.
const char* matrix_name(colour_matrix matrix);

// Sets the matrix if the stream does not declare it, and converts pictures whose size implies
// another one. Comes first, since the following filters depend on it.
std::string assumed_colours(const video_stream& stream);

// Whether its decoder marks each picture as interlaced or not.
bool marks_each_picture(const video_stream& stream);

// Deinterlaces the pictures that are marked as interlaced, even if the stream as a whole is not,
// and all pictures if only the container or their looks indicate it.
std::string deinterlacer(const video_stream& stream);

// Scales to `size`, both sides even, with square pixels and ordinary colours: BT.709 primaries and
// limited range under `matrix`, 8 bit 4:2:0, tagged so. The size and shape may change at any
// picture: one of another shape than the stream's declared one keeps its own and gets bars. With
// `map_light` a high dynamic range or a wide gamut is mapped, else its colours come out dull.
std::string uniform_picture(const video_stream& stream, picture_size size, colour_matrix matrix,
                            bool map_light);

// True for a stream with more light or more colours than an ordinary screen has.
bool needs_light_mapped(const video_stream& stream);

// True when the engine has the filters that `map_light` needs.
bool engine_can_map_light();
