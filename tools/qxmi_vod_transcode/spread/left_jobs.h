// Jobs in the cluster's queue that a tool of this machine submitted and that will never be of use:
// it was killed, and nobody has started it again. Their tasks end by themselves when they begin,
// but those that are held would stay for ever.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// All jobs of transcodes begin with it.
constexpr const char* job_name_prefix = "qxvod-";

// The comment for a job that works in `folder`, an absolute path: one word, with this machine's
// name.
std::string comment_for(const std::string& folder);

// Those of the jobs that comment_listing() lists whose tool has gone: they are this machine's, and
// their folder has gone as well, or its lease has not been renewed for a minute. Without those
// named `own`, which the caller can still use.
std::vector<std::int64_t> left_jobs(std::string_view listing, const std::string& own);

// Cancels them. Where the cluster does not answer, the next tool does it.
void cancel_left_jobs(const std::string& own);
