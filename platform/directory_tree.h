// Removing directories where other accounts can rename, link and replace what lies there.
#pragma once

#include <string>

// Whether an account other than root and this process's own could make the absolute path lead
// somewhere else: one of its components is a symbolic link, or lies in a directory (other than "/")
// that such an account owns or may write to. Also true if that cannot be determined.
bool others_may_redirect(const std::string& path);

// Removes `name` in the directory `directory`, whatever it is, a directory with everything in it.
// Symbolic links are removed, never followed, and each level is reached from the one above it, so
// that nothing outside is removed even if levels are replaced meanwhile. True if it does not exist
// any more; else false with errno set, after everything that can be removed has been.
bool remove_tree(int directory, const char* name);
