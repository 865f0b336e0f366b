// The highest id among the job directories. For platform/fileops_jobs.cpp only.
#pragma once

#include <cstdint>

// Returns the highest id in use in path_fileops_jobs, 0 if there are none, or negative with errno
// set if the folder cannot be listed. The folder is listed on the first call and hardly ever again:
// the kernel reports every change to it, whoever makes it. Ids up to `forgettable` need not be
// exact: if no higher id is in use, the result may be one of them that no longer exists.
std::int32_t highest_job_id(std::int32_t forgettable);

// Returns the job id that a directory name stands for, or 0 if it is not a job's name. Ids range
// from 1 to `last_job_id`.
std::int32_t job_id_of(const char* name);

constexpr std::int32_t last_job_id = INT32_MAX - 1;
