// Job directories, reached from the directory of all jobs: another account that can write to that
// may replace one by a link, which must not lead the service to files elsewhere.
#pragma once

#include <initializer_list>

#include "platform/unique_fd.h"

// Opens the job directory `name` in the directory `jobs_fd`. Invalid, with errno set, if it is not
// a directory.
unique_fd open_job(int jobs_fd, const char* name);

// Removes these files of a job in this order, then its directory. Failures are ignored: a directory
// that holds other files stays.
void remove_job(int jobs_fd, const char* name, std::initializer_list<const char*> files);
