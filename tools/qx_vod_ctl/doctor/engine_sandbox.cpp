#include "tools/qx_vod_ctl/doctor/engine_sandbox.h"

#include <string>

#include <unistd.h>

#include "platform/paths.h"

namespace {

constexpr const char* check = "sandbox";
constexpr int version_of_truncation = 3;

std::string note_on_truncation(const sandbox_support& support) {
  if (support.file_rules >= version_of_truncation) { return ""; }
  return "; this kernel's Landlock (version " + std::to_string(support.file_rules) +
         ") does not cover truncation, which seccomp refuses instead";
}

}  // namespace

finding_list judge_sandbox(const sandbox_support& support, bool lends, bool is_root) {
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
  if (is_root && support.account && !lends) {
    missing.push_back(
        warning(check,
                std::string("ffmpeg runs as root for results in ") + path_output_dir +
                    ", because files there cannot be given to the account qx-vod-engine",
                "use a file system that has owners, and with NFS the option no_root_squash"));
  }
  if (!missing.empty()) { return missing; }
  return {fine(check, "ffmpeg opens only its source and its output, and runs without privileges" +
                          note_on_truncation(support))};
}

finding_list check_sandbox() {
  return judge_sandbox(available_sandbox(), can_lend_in(path_output_dir), geteuid() == 0);
}
