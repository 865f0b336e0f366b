// A stdio stream that closes itself.
#pragma once

#include <cstdio>
#include <memory>

struct file_closer {
  void operator()(FILE* file) const { fclose(file); }
};

// Owns a stream opened with fopen; null if opening failed. Errors on closing are ignored; if they
// matter, call fclose(release()) and check its result.
using unique_file = std::unique_ptr<FILE, file_closer>;
