// Reads a CGI program's input, bounded in size and time.
#include "tools/vod_cgi/cgi_input.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <poll.h>
#include <unistd.h>

#include "platform/clock.h"

namespace {

std::string variable(const char* name) {
  const char* const value = getenv(name);
  return value == nullptr ? "" : value;
}

// True for decimal digits alone; the number is cut at one above the limit.
bool parse_length(const std::string& text, std::size_t& length) {
  if (text.find_first_not_of("0123456789") != std::string::npos) { return false; }
  length = std::min<unsigned long long>(strtoull(text.c_str(), nullptr, 10), cgi_body_limit + 1);
  return true;
}

bool wait_readable(int fd, std::uint64_t deadline_us) {
  const std::uint64_t now = monotonic_clock_us();
  if (now >= deadline_us) { return false; }
  pollfd input{fd, POLLIN, 0};
  return poll(&input, 1, static_cast<int>((deadline_us - now) / 1000) + 1) > 0;
}

}  // namespace

cgi_input cgi_input::from_environment() {
  cgi_input input;
  input.method = variable("REQUEST_METHOD");
  input.query = variable("QUERY_STRING");
  input.content_length = variable("CONTENT_LENGTH");
  input.host = variable("HTTP_HOST");
  input.origin = variable("HTTP_ORIGIN");
  input.fetch_site = variable("HTTP_SEC_FETCH_SITE");
  input.page_mark = variable("HTTP_X_VOD_PAGE");
  input.if_none_match = variable("HTTP_IF_NONE_MATCH");
  return input;
}

body_result read_body(int fd, const std::string& content_length, std::uint64_t deadline_us,
                      std::string& body) {
  std::size_t wanted = cgi_body_limit + 1;
  if (!parse_length(content_length, wanted)) { return body_result::bad_length; }
  const bool has_length = !content_length.empty();
  if (!has_length) {
    wanted = cgi_body_limit + 1;
  } else if (wanted > cgi_body_limit) {
    return body_result::too_large;
  }
  char block[4096];
  while (body.size() < wanted) {
    if (!wait_readable(fd, deadline_us)) { return body_result::timeout; }
    const ssize_t got = read(fd, block, std::min(sizeof(block), wanted - body.size()));
    if (got == 0) { return has_length ? body_result::incomplete : body_result::ok; }
    if (got < 0 && errno != EINTR && errno != EAGAIN) { return body_result::incomplete; }
    body.append(block, got < 0 ? 0 : static_cast<std::size_t>(got));
  }
  return has_length ? body_result::ok : body_result::too_large;
}
