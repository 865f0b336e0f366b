// Ids and directories of file-operations jobs. One directory per job, named by its id in decimal,
// under path_fileops_jobs.
#pragma once

#include <cstdint>

// Allocates a new id and makes its directory. Ids range from 1 to 2147483646; any number of
// processes may allocate at the same time, and a process never gets the same id twice. Returns the
// id, or negative with errno set if no directory can be made or the ids are used up (EOVERFLOW).
std::int32_t new_cgi_fileops_job_id();

// Writes the path of the job's directory, which need not exist, into `buffer` of `size` bytes and
// returns `buffer`. Returns null for a negative id (EINVAL) or a buffer that is too small (ERANGE).
char* cgi_get_fileops_job_directory(std::int32_t id, unsigned long size, char* buffer);
