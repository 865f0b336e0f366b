// Files that are rewritten in place, in directories that other accounts may write to.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

struct rewrite_closer {
  void operator()(FILE* file) const;
};

// Owns a stream that rewrites a file; null if opening failed. Closing it truncates the file to the
// new text. Errors on closing are ignored.
using unique_rewrite = std::unique_ptr<FILE, rewrite_closer>;

// Opens a regular file for rewriting from the beginning, or creates it. Returns null with errno set
// if that fails, or if `path` is anything other than a regular file with a single link: a FIFO
// would block the caller, and through a symbolic or hard link it would overwrite a different file.
//
// The file is not truncated first. Some files are rewritten several times a second, and on a file
// system that frees blocks and flushes truncated files immediately, that takes many times as long
// as writing the text.
unique_rewrite rewrite_file(const std::string& path);
