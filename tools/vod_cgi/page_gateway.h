// One request of the queue page through the gateway.
#pragma once

#include <cstdint>
#include <string_view>

#include "tools/vod_cgi/cgi_input.h"
#include "tools/vod_cgi/page_answer.h"

// Answers GET with the query "c=queue": the part of the queue that it asks for.
page_answer answer_queue(const cgi_input& input, std::string_view socket_path,
                         std::uint64_t deadline_us);

// Answers POST with the query "c=command": carries it out, if the page or a program asks for it.
page_answer answer_command(const cgi_input& input, int body_fd, std::string_view socket_path,
                           std::uint64_t deadline_us);
