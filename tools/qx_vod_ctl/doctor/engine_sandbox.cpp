#include "tools/qx_vod_ctl/doctor/engine_sandbox.h"

#include <string>

#include <unistd.h>

namespace {

constexpr const char* check = "sandbox";

}  // namespace

finding_list judge_sandbox(const sandbox_support& support, bool is_root) {
  finding_list missing;
  if (!support.system_calls) {
    missing.push_back(
        warning(check, "the kernel cannot filter system calls (seccomp) while ffmpeg reads media",
                "use a kernel with CONFIG_SECCOMP_FILTER"));
  }
  if (support.file_rules == 0) {
    missing.push_back(warning(
        check,
        "the kernel cannot limit the files (Landlock) that ffmpeg opens while it reads media",
        "use a kernel with CONFIG_SECURITY_LANDLOCK, and \"landlock\" in its lsm= parameter"));
  }
  if (is_root && !support.account) {
    missing.push_back(
        warning(check, "ffmpeg runs as root, because there is no account qx-vod-engine",
                "adduser --system --no-create-home --home /nonexistent --group qx-vod-engine"));
  }
  if (!missing.empty()) { return missing; }
  return {fine(check, "ffmpeg opens only its source and its output, and runs without privileges")};
}

finding_list check_sandbox() {
  return judge_sandbox(available_sandbox(), geteuid() == 0);
}
