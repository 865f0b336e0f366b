#include "platform/descriptor_limit.h"

#include <sys/resource.h>

namespace {

rlimit limit_at_start{};
bool is_raised = false;

}  // namespace

bool raise_descriptor_limit() {
  if (is_raised) { return true; }
  if (getrlimit(RLIMIT_NOFILE, &limit_at_start) != 0) { return false; }
  const rlimit most{limit_at_start.rlim_max, limit_at_start.rlim_max};
  is_raised = setrlimit(RLIMIT_NOFILE, &most) == 0;
  return is_raised;
}

void restore_descriptor_limit() {
  if (is_raised) { setrlimit(RLIMIT_NOFILE, &limit_at_start); }
}
