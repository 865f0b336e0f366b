// A directory stream that closes itself.
#pragma once

#include <memory>

#include <dirent.h>

struct dir_closer {
  void operator()(DIR* directory) const { closedir(directory); }
};

// Owns a stream opened with opendir; null if opening failed.
using unique_dir = std::unique_ptr<DIR, dir_closer>;
