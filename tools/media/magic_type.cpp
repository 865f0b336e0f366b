#include "tools/media/magic_type.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>

#include <magic.h>

#include "tools/media/confined_call.h"

namespace {

struct magic_closer {
  void operator()(magic_set* set) const { magic_close(set); }
};

bool fail(std::string& error, const char* cause) {
  error = std::string("its type cannot be determined: ") +
          (cause != nullptr ? cause : "no reason given");
  return false;
}

// In front of the answer, by which a type is told from a cause.
constexpr char type_follows = '+';
constexpr char cause_follows = '-';

// It looks at the first megabytes of a file at most.
constexpr std::chrono::seconds processor_time{10};
constexpr std::chrono::seconds time_limit{30};

std::string ask(magic_set* magic, int fd) {
  const char* const type = magic_descriptor(magic, fd);
  if (type != nullptr) { return type_follows + std::string(type); }
  const char* const cause = magic_error(magic);
  return cause_follows + std::string(cause != nullptr ? cause : "no reason given");
}

}  // namespace

bool magic_type(int fd, std::string& type, std::string& error) {
  const std::unique_ptr<magic_set, magic_closer> magic(magic_open(MAGIC_MIME_TYPE | MAGIC_ERROR));
  if (!magic) { return fail(error, std::strerror(errno)); }
  if (magic_load(magic.get(), nullptr) != 0) { return fail(error, magic_error(magic.get())); }
  sandbox limits;
  limits.readable = {fd};
  limits.is_program = false;
  limits.processor_time = processor_time;
  std::string answer;
  std::string cause;
  if (!call_confined(
          limits, time_limit, [&] { return ask(magic.get(), fd); }, answer, cause)) {
    return fail(error, cause.c_str());
  }
  if (answer.empty() || answer[0] != type_follows) {
    return fail(error, answer.empty() ? nullptr : answer.c_str() + 1);
  }
  type = answer.substr(1);
  return true;
}
