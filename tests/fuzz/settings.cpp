// The files that an administrator writes: vod.conf and the list of media roots.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/media_roots.h"
#include "platform/paths.h"
#include "platform/transcode_settings.h"
#include "tests/fuzz/fuzz_target.h"

namespace {

std::string_view file_content;

void read_settings() {
  class transcode_settings settings;
  settings.vod_conf_load();
  fuzz_expect(!settings.go_remote() || !settings.address.empty(), "a remote server has an address");
  const std::string texts = settings.address + settings.user + settings.password;
  fuzz_expect(texts.find('\n') == std::string::npos, "no value is longer than its line");
  fuzz_expect(texts.size() <= file_content.size(), "no value comes from elsewhere");
}

void read_roots() {
  std::vector<std::string> roots;
  add_listed_roots(roots, file_content);
  for (const std::string& root : roots) {
    fuzz_expect(is_plain_path(root), "a root is a plain path");
    fuzz_expect(!is_at_or_below(root, "/etc") && !is_at_or_below(root, "/usr"),
                "no root is in the system's own directories");
  }
}

}  // namespace

// The linker puts this in place of fopen(), so that the settings come from memory. All other files,
// such as those of libFuzzer, are files.
extern "C" FILE* __real_fopen(const char* path, const char* mode);
extern "C" FILE* __wrap_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode) {
  if (strcmp(path, path_vod_conf) != 0) { return __real_fopen(path, mode); }
  return file_content.empty()
             ? nullptr
             : fmemopen(const_cast<char*>(file_content.data()), file_content.size(), "r");
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  file_content = {reinterpret_cast<const char*>(data), size};
  read_settings();
  read_roots();
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  return {"max profile = 720\nfullspeed=1\n",
          "transcode server address = far.example\r\ntranscode server user=vod\n"
          "transcode server password = a = b\n",
          "transcode server address=\nmax profile=-99999999999999999999\nfullspeed",
          "# the archive\n/data/films\n  /mnt/more/ \n/etc/x\n/a/../b\nrelative\n",
          std::string(1100, 'x') + "=1\n=\n"};
}
