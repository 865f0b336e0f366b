// The file that a download writes, in a directory where other accounts may put files too. There is
// one download at a time.
#pragma once

#include <string>

#include <sys/stat.h>

// Prepares the file for the download tool, which opens it by its name: a new, empty file, unless
// this process's own file of an earlier download is there, which the tool continues. Whatever
// another account has put there is removed. If this fails, so does the tool.
void prepare_download_file(const std::string& path);

// Whether the file with this status, from lstat(), may be the one that was prepared last: a regular
// file with one name and the same owner.
bool may_be_download_file(const struct stat& status);
