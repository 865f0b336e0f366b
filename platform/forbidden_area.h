// What media paths and file names may be touched. Whoever asks may be running as root and about to
// delete, so the rules say what is allowed and refuse everything else (docs/platform.md).
#pragma once

// Set in the result of cgi_velmar_forbidden_area.
constexpr unsigned velmar_forbidden_path = 0x1;
// Set in the result of cgi_velmar_forbidden_area_fd.
constexpr unsigned velmar_forbidden_directory = 0x200;

// Judges a media path as it is written: 0 when it is allowed, velmar_forbidden_path when not. Looks
// at no file; a symbolic link inside the path can still lead elsewhere, which the next operation is
// for. The flags are not used.
unsigned cgi_velmar_forbidden_area(const char* path, unsigned flags);

// Judges the directory that `fd` really is, whatever path it was opened by: 0 when media files may
// lie directly in it, velmar_forbidden_directory when not, or when it cannot be told. The flags are
// not used.
unsigned cgi_velmar_forbidden_area_fd(int fd, unsigned flags);

// Judges a bare file name: 0 when it is allowed, non-zero when not.
int cgi_velmar_forbidden_file_name(const char* name);
