#include "rules/download_output.h"

#include <cstdlib>
#include <cstring>

#include "platform/text.h"
#include "rules/limits.h"

std::optional<std::int32_t> download_progress(const char* line) {
  const char* at = line + strspn(line, " ");
  at += strspn(at, "0123456789");
  at += *at == 'K' ? 1 : 0;
  at += strspn(at, " ");
  at += strspn(at, "., ");
  if (*at < '0' || *at > '9') { return std::nullopt; }
  char* end = nullptr;
  const long percent = strtol(at, &end, 10);
  if (*end != '%') { return std::nullopt; }
  return percent > 100 ? progress_complete : static_cast<std::int32_t>(percent) * 100;
}

std::optional<long long> announced_size(const std::string& line) {
  constexpr char key[] = "==> SIZE ";
  constexpr char gap[] = " ... ";
  const std::size_t at = line.rfind(gap);
  if (!begins_with(line, key) || at == std::string::npos) { return std::nullopt; }
  const std::string number = line.substr(at + strlen(gap));
  if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos) {
    return std::nullopt;
  }
  return strtoll(number.c_str(), nullptr, 10);
}
