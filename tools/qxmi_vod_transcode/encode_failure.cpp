#include "tools/qxmi_vod_transcode/encode_failure.h"

#include <cerrno>
#include <cstring>

bool lacks_room(const std::string& cause) {
  return cause.find(std::strerror(ENOSPC)) != std::string::npos ||
         cause.find(std::strerror(EDQUOT)) != std::string::npos;
}

encode_failure system_failure(int error) {
  encode_failure failure;
  failure.of_output = true;
  failure.cause = std::strerror(error);
  failure.interrupted = !lacks_room(failure.cause);
  return failure;
}
