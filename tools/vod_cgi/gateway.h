// One request through the gateway.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/vod_cgi/cgi_input.h"

// Answers a request with its body on `body_fd`, through the service that listens on `socket_path`,
// in the form that a web server expects from a CGI program. The query's "c" identifies the client:
// another server ("vodsrv") or the queue page ("queue", "command"). Takes until the monotonic
// deadline at most.
std::string answer_request(const cgi_input& input, int body_fd, std::string_view socket_path,
                           std::uint64_t deadline_us);
