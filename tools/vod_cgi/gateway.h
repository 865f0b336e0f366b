// One request through the gateway.
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/vod_cgi/cgi_answer.h"
#include "tools/vod_cgi/cgi_input.h"

// Answers a request whose body stands on `body_fd`, through the service that listens on
// `socket_path`. Takes until the monotonic deadline at most.
cgi_answer answer_request(const cgi_input& input, int body_fd, std::string_view socket_path,
                          std::uint64_t deadline_us);
