// Whether an upload has its job already.
#pragma once

#include <cstdint>
#include <string>

#include "platform/comm_client_v4.h"

// Looks through the queue for a job whose source is `input_file`. Its entry id is stored in
// `entry_id`, "" when there is none. The result is that of the requests it takes, 16 jobs each.
comm_client_result find_job_of(comm_client_v4& client, const std::string& input_file,
                               std::uint64_t deadline_us, std::string& entry_id);
