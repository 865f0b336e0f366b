// The MIME type that a file is given.
#pragma once

#include <string>
#include <string_view>

#include "tools/media/media_info.h"

// How much of a file's beginning item_type() looks at.
constexpr std::size_t head_size = 64;

// "video/..." for a file with a moving picture, "audio/..." for sound alone, with or without a
// cover, both by the container and the first bytes of the file, `head`. Anything else, a still
// among them, is what libmagic takes it for, `magic`.
std::string item_type(const media_info& media, std::string_view head, const std::string& magic);
