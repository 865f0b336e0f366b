// The input of a CGI program: variables, and the request's body on standard input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The largest body that is read; requests of the protocol are a few hundred bytes.
constexpr std::size_t cgi_body_limit = 65536;

struct cgi_input {
  std::string method;
  std::string query;
  std::string content_length;  // this and what follows as given, "" where there was none
  std::string host;
  std::string origin;
  std::string fetch_site;     // Sec-Fetch-Site
  std::string page_mark;      // X-Vod-Page
  std::string if_none_match;  // the version that the client already has

  // Takes the variables REQUEST_METHOD, QUERY_STRING, CONTENT_LENGTH and those of the headers.
  static cgi_input from_environment();
};

enum class body_result { ok, too_large, bad_length, incomplete, timeout };

// Reads the body from `fd`: as many bytes as the content length says, or up to the end of input
// where none is given. Waits until the monotonic deadline at most.
body_result read_body(int fd, const std::string& content_length, std::uint64_t deadline_us,
                      std::string& body);
