// The private folders of uploads, which hold a login file with a password: in use while they are
// locked, left over by a killed tool when they are not.
#pragma once

#include <cstddef>
#include <string>

#include "platform/unique_fd.h"

// The directories for them, in order of preference; the pattern is for mkdtemp().
constexpr const char* login_folder_places[] = {"/run", "/tmp"};
constexpr const char* login_folder_prefix = "qx-upload-";

// Their contents: the login file, and a directory with a symbolic link to the source.
constexpr const char* login_file_name = "login";
constexpr const char* login_link_folder = "send";

// Takes the directory `path`, just created, for this tool until the descriptor is closed. Not valid
// if a search for left-over directories was faster, or on a failure.
unique_fd take_login_folder(const std::string& path);

// The number of this user's folders that are left over.
std::size_t find_left_logins();

// Removes them, and returns how many that were. Nothing else than an upload makes is removed: a
// folder with anything else in it stays, without its login file.
std::size_t remove_left_logins();
