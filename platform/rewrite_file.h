// Files that are rewritten in place, in directories that other accounts may write to.
#pragma once

#include <string>
#include <string_view>

// Replaces the contents of a regular file, or creates it. Returns false with errno set if it cannot
// be opened, or if `path` is anything other than a regular file with a single link: a FIFO would
// block the caller, and through a symbolic or hard link it would overwrite a different file. A
// failure to write the text to the open file is ignored.
//
// The file is not truncated when it is opened. Some files are rewritten several times a second, and
// on a file system that frees blocks and flushes truncated files immediately, that takes many times
// as long as writing the text.
bool rewrite_file(const std::string& path, std::string_view text);
