// Reads the queue from the service, page by page.
#pragma once

#include <cstdint>

#include <json11.hpp>

#include "platform/comm_client_v4.h"

// What the service lists at most in answer to one request.
constexpr int queue_page_size = 16;

// Reads the page that begins at index `start` (from 0). `page` is then an object with "list",
// "total" and "modify counter". "malformed" also for a reply that is none.
comm_client_result read_queue_page(comm_client_v4& client, int start, std::uint64_t deadline_us,
                                   json11::Json& page);

// Reads all jobs in queue order, each once. A queue that changes meanwhile is read anew, three
// times at most; the last reading stands then, in which a job that came or went may be missing.
comm_client_result read_whole_queue(comm_client_v4& client, std::uint64_t deadline_us,
                                    json11::Json::array& jobs);
