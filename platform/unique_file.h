// A stdio stream that closes itself.
#pragma once

#include <cstdio>
#include <memory>

struct file_closer {
  void operator()(FILE* file) const { fclose(file); }
};

// Owns a stream opened with fopen; empty when the open failed. Errors of the close are not seen:
// where they matter, fclose(release()) and look.
using unique_file = std::unique_ptr<FILE, file_closer>;
