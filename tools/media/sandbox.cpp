#include "tools/media/sandbox.h"

#include <sys/prctl.h>

#include "platform/replacement_file.h"
#include "tools/media/left_parts.h"
#include "tools/media/sandbox/engine_account.h"
#include "tools/media/sandbox/file_rules.h"
#include "tools/media/sandbox/resource_limits.h"
#include "tools/media/sandbox/system_call_filter.h"

std::vector<int> sandbox::descriptors() const {
  std::vector<int> all = readable;
  if (writable >= 0) { all.push_back(writable); }
  if (work_folder >= 0) { all.push_back(work_folder); }
  return all;
}

sandbox_support available_sandbox() {
  return {has_system_call_filters(), file_rules_version(), may_take_account()};
}

bool can_lend_in(const std::string& folder) {
  const auto file = replacement_file::with_random_name(folder + "/" + left_part_prefix);
  return !file.valid() || lend_to_account(file.fd());
}

bool enter_sandbox(const sandbox& limits, const char* program) {
  // The limits come last: until then this is still the tool, which may need more. Only that on what
  // is added needs /proc, which the rules for files hide.
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         (limits.is_program || limit_memory_of_function()) && take_account(limits) &&
         restrict_files(limits, program) && filter_system_calls() && set_limits(limits);
}
