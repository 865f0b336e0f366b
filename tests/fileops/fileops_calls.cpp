// The linker redirects the program's calls of these functions here (--wrap).
#include "tests/fileops/fileops_calls.h"

#include <cstdio>

namespace qx_test {

std::function<const char*()> directory_answer;
strings removals;

}  // namespace qx_test

using qx_test::directory_answer;
using qx_test::removals;

extern "C" {
char* __real__Z29cgi_get_fileops_job_directoryimPc(std::int32_t id, unsigned long size,
                                                   char* buffer);
int __real_unlink(const char* path);
int __real_unlinkat(int directory, const char* path, int flags);
int __real_rmdir(const char* path);

char* __wrap__Z29cgi_get_fileops_job_directoryimPc(std::int32_t id, unsigned long size,
                                                   char* buffer) {
  if (!directory_answer) { return __real__Z29cgi_get_fileops_job_directoryimPc(id, size, buffer); }
  const char* const answer = directory_answer();
  EXPECT_EQ(size, 4097U);
  if (answer == nullptr) { return nullptr; }
  snprintf(buffer, size, "%s", answer);
  return buffer;
}
int __wrap_unlink(const char* path) {
  removals.push_back(path);
  return __real_unlink(path);
}
int __wrap_unlinkat(int directory, const char* path, int flags) {
  removals.push_back(path);
  return __real_unlinkat(directory, path, flags);
}
int __wrap_rmdir(const char* path) {
  removals.push_back(path);
  return __real_rmdir(path);
}
}
