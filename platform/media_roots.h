// Below which directories media may lie. For the sources of platform/ only.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// Whether the path is absolute, at most 4,095 bytes long and without a component that is empty, "."
// or "..", and without control characters: such a path means what it seems to.
bool is_plain_path(std::string_view path);

// Whether `path` is `directory` or lies below it; neither ends with a slash.
bool is_at_or_below(std::string_view path, std::string_view directory);

bool has_control_character(std::string_view text);

// The built-in roots and those that path_media_roots lists, none with a slash at its end. The file
// is read at the first call; a line of it that cannot be a root is told of on standard error.
const std::vector<std::string>& media_roots();
