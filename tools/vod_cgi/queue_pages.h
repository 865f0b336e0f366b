// Reads the queue from the service, page by page.
#pragma once

#include <cstddef>
#include <cstdint>

#include <json11.hpp>

#include "platform/comm_client_v4.h"
#include "rules/limits.h"

// What the service lists at most in answer to one request.
constexpr int queue_page_size = static_cast<int>(most_listed_jobs);

// How many bytes of pages one look at the whole queue may take: ten times what 512 jobs come to,
// and no more than a web server should hold for a gateway.
constexpr std::size_t most_queue_bytes = 16U << 20U;

// Reads the page that begins at index `start` (from 0) and takes its bytes from `room`. `page` is
// then an object with "list", "total" and "modify counter". "malformed" also for a reply that is
// none, or for which there is no room.
comm_client_result read_queue_page(comm_client_v4& client, int start, std::uint64_t deadline_us,
                                   std::size_t& room, json11::Json& page);

// Reads all jobs in queue order, each once. A queue that changes meanwhile is read anew, three
// times at most; the last reading stands then, in which a job that came or went may be missing.
comm_client_result read_whole_queue(comm_client_v4& client, std::uint64_t deadline_us,
                                    json11::Json::array& jobs);
