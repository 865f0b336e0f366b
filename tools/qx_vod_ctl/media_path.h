// Paths of media files as the service takes them.
#pragma once

#include <string>
#include <string_view>

// `path` as an absolute path without empty, "." and ".." components, which the service refuses;
// where it is relative, seen from the absolute `folder`. By its text alone: no symbolic link is
// resolved, so that a ".." behind one leads back to where the link stands. Empty for an empty path,
// and for a relative one where there is no folder.
std::string absolute_path(std::string_view path, std::string_view folder);

// The folder that this process works in, as the shell names it: with the symbolic links that led
// to it, where PWD tells them truthfully. Empty when it cannot be told, as after its removal.
std::string working_folder();
