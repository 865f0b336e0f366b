// Decides which media paths and file names may be touched. The caller may be running as root and
// about to delete files, so the rules list the paths that are allowed and refuse everything else
// (docs/platform.md).
#pragma once

// Set in the result of cgi_velmar_forbidden_area.
constexpr unsigned velmar_forbidden_path = 0x1;
// Set in the result of cgi_velmar_forbidden_area_fd.
constexpr unsigned velmar_forbidden_directory = 0x200;

// Checks a media path by its text alone. Returns 0 if it is allowed, otherwise
// velmar_forbidden_path. Does not access the file system; a symbolic link inside the path can still
// lead elsewhere, which cgi_velmar_forbidden_area_fd catches. `flags` is not used.
unsigned cgi_velmar_forbidden_area(const char* path, unsigned flags);

// Checks the directory that `fd` actually refers to, whatever path it was opened by. Returns 0 if
// media files may lie directly in it, otherwise velmar_forbidden_directory; also the latter if the
// directory cannot be determined. `flags` is not used.
unsigned cgi_velmar_forbidden_area_fd(int fd, unsigned flags);

// Checks a file name without a directory. Returns 0 if it is allowed, otherwise non-zero.
int cgi_velmar_forbidden_file_name(const char* name);
