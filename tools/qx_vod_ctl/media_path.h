// Paths of media files as the service takes them.
#pragma once

#include <string>
#include <string_view>

// `path` as an absolute path without empty, "." and ".." components, which the service refuses; a
// relative path is resolved against the absolute `folder`. Only the text is used: symbolic links
// are not resolved, so that a ".." after one leads to the folder of the link. Empty for an empty
// path, and for a relative one without a folder.
std::string absolute_path(std::string_view path, std::string_view folder);

// The working directory of this process as the shell names it: including symbolic links, if PWD is
// correct. Empty if it is unknown, for example after its removal.
std::string working_folder();
