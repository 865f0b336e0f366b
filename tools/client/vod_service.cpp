#include "tools/client/vod_service.h"

std::string service_reply::pair(std::string_view name) const {
  std::string found;
  for (const auto& [key, value] : pairs) {
    if (key == name) { found = value; }
  }
  return found;
}
