// One request through the gateway.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/vod_cgi/cgi_input.h"

// Answers a request whose body stands on `body_fd`, through the service that listens on
// `socket_path`, with the text that a web server takes from a CGI program. The query's "c" tells
// who asks: another server ("vodsrv") or the queue page ("queue", "command"). Takes until the
// monotonic deadline at most.
std::string answer_request(const cgi_input& input, int body_fd, std::string_view socket_path,
                           std::uint64_t deadline_us);
