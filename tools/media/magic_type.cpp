#include "tools/media/magic_type.h"

#include <cerrno>
#include <cstring>
#include <memory>

#include <magic.h>

namespace {

struct magic_closer {
  void operator()(magic_set* set) const { magic_close(set); }
};

bool fail(std::string& error, const char* cause) {
  error = std::string("its type cannot be determined: ") +
          (cause != nullptr ? cause : "no reason given");
  return false;
}

}  // namespace

bool magic_type(int fd, std::string& type, std::string& error) {
  const std::unique_ptr<magic_set, magic_closer> magic(magic_open(MAGIC_MIME_TYPE | MAGIC_ERROR));
  if (!magic) { return fail(error, std::strerror(errno)); }
  if (magic_load(magic.get(), nullptr) != 0) { return fail(error, magic_error(magic.get())); }
  const char* answer = magic_descriptor(magic.get(), fd);
  if (answer == nullptr) { return fail(error, magic_error(magic.get())); }
  type = answer;
  return true;
}
