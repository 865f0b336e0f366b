// The jobs of a queue file, also of one that is damaged.
#pragma once

#include <string>
#include <vector>

#include <json11.hpp>

#include "tools/client/item_view.h"

struct stored_job {
  item_view item;
  json11::Json document;  // all its keys
};

struct stored_queue {
  std::vector<stored_job> jobs;  // in the file's order
  bool damaged = false;          // the service cannot read it; the jobs are its intact ones
};

// Reads the text of a queue file. Of a damaged one it takes every intact job, until the end of a
// job can no longer be found.
stored_queue read_stored_queue(const std::string& text);

// The jobs of `stored` that `present` does not hold: neither by entry id, nor by source and
// profile, where a stored job without a profile fits every one of its source.
std::vector<stored_job> missing_jobs(const std::vector<stored_job>& stored,
                                     std::vector<item_view> present);

// True for a job that still has something to be done.
bool is_unfinished(const item_view& item);

// The text of a queue file with all jobs of `current` followed by those of `more`. The latter lose
// their job numbers: the service has removed their job directories and creates new ones.
std::string queue_file_text(const std::vector<stored_job>& current,
                            const std::vector<stored_job>& more);
