// Files that are rewritten in place, in directories that others may write to.
#pragma once

#include <cstdio>
#include <memory>
#include <string>

struct rewrite_closer {
  void operator()(FILE* file) const;
};

// Owns a stream that rewrites a file; empty when the open failed. Closing it cuts off what the file
// held beyond the new text. Errors of the close are not seen.
using unique_rewrite = std::unique_ptr<FILE, rewrite_closer>;

// Opens a regular file to be rewritten from its beginning, or creates it. Empty with errno set when
// that fails, and for anything that stands there and is no regular file: a FIFO would block the
// caller, and a link, symbolic or hard, would have it overwrite somebody else's file.
//
// The file is not emptied first. Some are rewritten several times a second, and a file system that
// gives blocks back, and flushes what was emptied, at once takes many times as long over that as
// over the text.
unique_rewrite rewrite_file(const std::string& path);
