// The highest id among the job directories. For platform/fileops_jobs.cpp only.
#pragma once

#include <cstdint>

// The highest id that is taken in path_fileops_jobs, 0 when none is, negative with errno when the
// folder cannot be listed. It is listed at the first call and then as good as never: the kernel
// reports every change of it, whoever makes it. Ids up to `forgettable` need not be known exactly,
// as long as a higher one is: the answer may name one of them that is gone.
std::int32_t highest_job_id(std::int32_t forgettable);

// The id that a directory's name means; 0 when it means none. Ids run up to `last_job_id`.
std::int32_t job_id_of(const char* name);

constexpr std::int32_t last_job_id = INT32_MAX - 1;
