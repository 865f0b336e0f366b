#include "tools/media/sandbox/engine_account.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/unique_fd.h"
#include "tools/media/sandbox/resource_limits.h"

namespace {

constexpr const char* engine_account = "qx-vod-engine";
constexpr mode_t mode_of_lent_file = 0660;

bool is_readable(int file) {
  const std::string name = "/proc/self/fd/" + std::to_string(file);
  return unique_fd(open(name.c_str(), O_RDONLY | O_CLOEXEC)).valid();
}

bool set_capabilities(std::uint32_t kept) {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {{kept, kept, kept}, {0, 0, 0}};
  return syscall(SYS_capset, &header, data) == 0;
}

// The account may not be able to read every source that root can. It keeps the right to read then,
// restricted by the file rules to the files that were handed over.
bool keep_reading(const sandbox& limits) {
  const bool reads_all = std::all_of(limits.readable.begin(), limits.readable.end(), is_readable);
  if (reads_all) { return set_capabilities(0); }
  return set_capabilities(1U << CAP_DAC_READ_SEARCH) &&
         prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_DAC_READ_SEARCH, 0, 0) == 0;
}

// In a user namespace, an account may have no counterpart outside.
bool is_mapped(uid_t user) {
  std::ifstream map("/proc/self/uid_map");
  for (std::uint64_t first = 0, outside = 0, count = 0; map >> first >> outside >> count;) {
    if (user >= first && user - first < count) { return true; }
  }
  return false;
}

bool may_change_account() {
  constexpr std::uint32_t needed = 1U << CAP_SETUID | 1U << CAP_SETGID | 1U << CAP_CHOWN;
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  return syscall(SYS_capget, &header, data) == 0 && (data[0].effective & needed) == needed;
}

// Null where the account does not exist, or this process may not become it.
const passwd* account_to_take() {
  const passwd* const account = may_change_account() ? getpwnam(engine_account) : nullptr;
  return account != nullptr && is_mapped(account->pw_uid) ? account : nullptr;
}

// The file's owner is not changed: it distinguishes the file from those of strangers. Some file
// systems ignore what they cannot do.
bool lend(int file, gid_t group, mode_t mode) {
  if (file < 0) { return true; }
  struct stat status = {};
  return fchown(file, static_cast<uid_t>(-1), group) == 0 && fchmod(file, mode) == 0 &&
         fstat(file, &status) == 0 && status.st_gid == group && (status.st_mode & mode) == mode;
}

// What cannot be lent is only for this account, of whose rights those to files remain: the file
// rules restrict them.
bool keep_account() {
  constexpr std::uint32_t of_files = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  return syscall(SYS_capget, &header, data) == 0 && set_capabilities(data[0].permitted & of_files);
}

}  // namespace

bool may_take_account() {
  return account_to_take() != nullptr;
}

bool lend_to_account(int file) {
  const passwd* const account = account_to_take();
  return account == nullptr || lend(file, account->pw_gid, mode_of_lent_file);
}

bool take_account(const sandbox& limits) {
  const passwd* const account = account_to_take();
  if (account == nullptr) { return true; }
  const uid_t user = account->pw_uid;
  const gid_t group = account->pw_gid;
  if (!lend(limits.writable, group, mode_of_lent_file) || !lend(limits.work_folder, group, 0770)) {
    return keep_account();
  }
  return setgroups(0, nullptr) == 0 && setresgid(group, group, group) == 0 &&
         prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) == 0 && setresuid(user, user, user) == 0 &&
         limit_threads() && keep_reading(limits);
}
