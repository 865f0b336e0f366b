#include "tools/qx_vod_ctl/doctor/engine_sandbox.h"

#include <string>

#include <unistd.h>

namespace {

constexpr const char* check = "sandbox";

}  // namespace

finding judge_sandbox(const sandbox_support& support, bool is_root) {
  if (!support.system_calls) {
    return warning(check,
                   "the kernel cannot filter system calls (seccomp) while ffmpeg reads media",
                   "use a kernel with CONFIG_SECCOMP_FILTER");
  }
  if (support.file_rules == 0) {
    return warning(
        check,
        "the kernel cannot limit the files (Landlock) that ffmpeg opens while it reads media",
        "use a kernel with CONFIG_SECURITY_LANDLOCK, and \"landlock\" in its lsm= parameter");
  }
  if (is_root && !support.account) {
    return warning(check, "ffmpeg runs as root, because there is no account qx-vod-engine",
                   "adduser --system --no-create-home --home /nonexistent --group qx-vod-engine");
  }
  return fine(check, "ffmpeg opens only its source and its output, and runs without privileges");
}

finding check_sandbox() {
  return judge_sandbox(available_sandbox(), geteuid() == 0);
}
