// Judges a request by what browsers say of it.
#include "tools/vod_cgi/request_source.h"

#include <string>

#include "platform/text.h"

namespace {

// The scheme is not looked at: TLS may end in front of the web server.
bool is_origin_of_host(const std::string& origin, const std::string& host) {
  const std::size_t scheme_end = origin.find("://");
  return !host.empty() && scheme_end != std::string::npos &&
         lower_case(origin.substr(scheme_end + 3)) == lower_case(host);
}

}  // namespace

request_source source_of(const cgi_input& input) {
  if (input.origin.empty() && input.fetch_site.empty()) { return request_source::program; }
  const bool is_own = (input.fetch_site.empty() || input.fetch_site == "same-origin") &&
                      (input.origin.empty() || is_origin_of_host(input.origin, input.host)) &&
                      input.page_mark == "1";
  return is_own ? request_source::own_page : request_source::foreign_page;
}
