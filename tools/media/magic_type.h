// The type of a file according to libmagic, by its content alone. The library runs confined, since
// it reads files that strangers made.
#pragma once

#include <string>

// The type of an empty file, in libmagic's words.
constexpr const char* empty_file_type = "inode/x-empty";

// Puts the MIME type of the open regular file `fd` into `type`; its position may move. False with
// the cause in `error`: no memory, no database of types, a failing disk.
bool magic_type(int fd, std::string& type, std::string& error);
