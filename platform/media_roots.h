// The directories under which media may lie. For the sources of platform/ only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Whether the path is absolute, at most 4,095 bytes long, and free of control characters and of
// components that are empty, "." or "..". The meaning of such a path is obvious from its text.
bool is_plain_path(std::string_view path);

// Whether `path` is `directory` itself or lies below it. Neither may end with a slash.
bool is_at_or_below(std::string_view path, std::string_view directory);

bool has_control_character(std::string_view text);

// The built-in roots and those listed in path_media_roots, without trailing slashes. The file is
// read on the first call; lines that cannot be roots are reported on standard error.
const std::vector<std::string>& media_roots();

// Adds the roots in `list`, the text of path_media_roots, to `roots`; reports the other lines.
void add_listed_roots(std::vector<std::string>& roots, std::string_view list);
