#include "tools/media/sandbox.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <linux/landlock.h>
#include <pwd.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/replacement_file.h"
#include "platform/unique_fd.h"
#include "tools/media/left_parts.h"

namespace {

constexpr const char* engine_account = "qx-vod-engine";
constexpr mode_t mode_of_lent_file = 0660;

constexpr rlim_t address_space = rlim_t{4} << 30;
// Each thread reserves an arena of the allocator and a stack, used or not.
constexpr rlim_t address_space_of_thread = rlim_t{160} << 20;
constexpr rlim_t memory_of_function = rlim_t{512} << 20;
constexpr rlim_t most_descriptors = 256;
constexpr rlim_t most_threads = 4096;  // of the engine's account; another has threads of its own

// ---- Limits

bool limit(__rlimit_resource_t resource, rlim_t value) {
  rlimit now{};
  if (getrlimit(resource, &now) != 0) { return false; }
  value = std::min(value, now.rlim_max);
  const rlimit wanted{value, value};
  return setrlimit(resource, &wanted) == 0;
}

rlim_t usable_processors() {
  cpu_set_t set;
  return sched_getaffinity(0, sizeof(set), &set) == 0 ? static_cast<rlim_t>(CPU_COUNT(&set)) : 1;
}

// Writable memory of this process alone, in bytes; 0 if it cannot be read.
rlim_t data_in_use() {
  std::ifstream status("/proc/self/status");
  for (std::string name; status >> name;) {
    rlim_t kibibytes = 0;
    if (name == "VmData:" && status >> kibibytes) { return kibibytes << 10; }
  }
  return 0;
}

// The addresses of this very program may be reserved far beyond what it uses, so a function's limit
// is on what it adds.
bool limit_memory_of_function() {
  const rlim_t present = data_in_use();
  return present > 0 && limit(RLIMIT_DATA, present + memory_of_function);
}

bool limit_memory_of_program() {
  return limit(RLIMIT_AS, address_space + usable_processors() * address_space_of_thread);
}

bool set_limits(const sandbox& limits) {
  const auto seconds = static_cast<rlim_t>(limits.processor_time.count());
  return (!limits.is_program || limit_memory_of_program()) &&
         limit(RLIMIT_NOFILE, most_descriptors) && limit(RLIMIT_CORE, 0) &&
         limit(RLIMIT_FSIZE, limits.largest_file) && (seconds == 0 || limit(RLIMIT_CPU, seconds));
}

// ---- Files

constexpr std::uint64_t read_rights = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr std::uint64_t library_rights = read_rights | LANDLOCK_ACCESS_FS_EXECUTE;
// Rights that kernels newer than this header know, by the version that brought them.
constexpr std::uint64_t right_to_truncate = std::uint64_t{1} << 14;
constexpr int version_of_refer = 2;
constexpr int version_of_truncate = 3;

struct file_rule {
  const char* path;
  std::uint64_t rights;
};

// The loader, the libraries, what they look at when they start. A path that does not exist needs no
// rule.
constexpr file_rule system_rules[] = {
    {"/lib", library_rights},
    {"/lib64", library_rights},
    {"/usr/lib", library_rights},
    {"/usr/lib64", library_rights},
    {"/usr/local/lib", library_rights},
    {"/usr/share", read_rights},
    {"/etc/ld.so.cache", LANDLOCK_ACCESS_FS_READ_FILE},
    {"/sys/devices/system", read_rights},
    {"/proc/cpuinfo", LANDLOCK_ACCESS_FS_READ_FILE},
    {"/proc/meminfo", LANDLOCK_ACCESS_FS_READ_FILE},
    {"/dev/null", LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_WRITE_FILE},
    {"/dev/urandom", LANDLOCK_ACCESS_FS_READ_FILE},
};

int file_rules_version() {
  const long version =
      syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  return version > 0 ? static_cast<int>(version) : 0;
}

std::uint64_t known_rights(int version) {
  std::uint64_t rights = (std::uint64_t{LANDLOCK_ACCESS_FS_MAKE_SYM} << 1) - 1;
  if (version >= version_of_refer) { rights |= std::uint64_t{1} << 13; }
  if (version >= version_of_truncate) { rights |= right_to_truncate; }
  return rights;
}

bool allow(int ruleset, int file, std::uint64_t rights) {
  const landlock_path_beneath_attr rule{rights, file};
  return syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
}

bool allow_path(int ruleset, const char* path, std::uint64_t rights) {
  const unique_fd file(open(path, O_PATH | O_CLOEXEC));
  return !file.valid() || allow(ruleset, file.get(), rights);
}

bool allow_files(int ruleset, int version, const sandbox& limits, const char* program) {
  const std::uint64_t writing = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_WRITE_FILE |
                                (known_rights(version) & right_to_truncate);
  return std::all_of(
             std::begin(system_rules), std::end(system_rules),
             [=](const file_rule& rule) { return allow_path(ruleset, rule.path, rule.rights); }) &&
         allow_path(ruleset, program, LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_EXECUTE) &&
         std::all_of(
             limits.readable.begin(), limits.readable.end(),
             [=](int file) { return allow(ruleset, file, LANDLOCK_ACCESS_FS_READ_FILE); }) &&
         (limits.writable < 0 || allow(ruleset, limits.writable, writing)) &&
         (limits.work_folder < 0 ||
          allow(ruleset, limits.work_folder, writing | LANDLOCK_ACCESS_FS_MAKE_REG));
}

// A process keeps the files it has opened, so this may come before other privileges are dropped.
bool restrict_files(const sandbox& limits, const char* program) {
  const int version = file_rules_version();
  if (version == 0) { return true; }
  const std::uint64_t handled = known_rights(version);
  const unique_fd ruleset(
      static_cast<int>(syscall(SYS_landlock_create_ruleset, &handled, sizeof(handled), 0)));
  return ruleset.valid() && allow_files(ruleset.get(), version, limits, program) &&
         syscall(SYS_landlock_restrict_self, ruleset.get(), 0) == 0;
}

// ---- The account

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
         limit(RLIMIT_NPROC, most_threads) && keep_reading(limits);
}

// ---- System calls

// Ways to the network, to other processes, to more rights, to the kernel's own machinery. None of
// them is needed to decode or encode, and all fail as if they were not permitted.
constexpr const char* forbidden_calls[] = {
    "socket",
    "socketpair",
    "connect",
    "bind",
    "listen",
    "accept",
    "accept4",
    "ptrace",
    "process_vm_readv",
    "process_vm_writev",
    "pidfd_getfd",
    "pidfd_send_signal",
    "tkill",
    "rt_sigqueueinfo",
    "rt_tgsigqueueinfo",
    "migrate_pages",
    "move_pages",
    "process_madvise",
    "kcmp",
    "fork",
    "vfork",
    "unshare",
    "setns",
    "mount",
    "umount2",
    "pivot_root",
    "chroot",
    "move_mount",
    "open_tree",
    "fsopen",
    "fsconfig",
    "fsmount",
    "fspick",
    "mount_setattr",
    "add_key",
    "request_key",
    "keyctl",
    "bpf",
    "perf_event_open",
    "userfaultfd",
    "io_uring_setup",
    "io_uring_enter",
    "io_uring_register",
    "fanotify_init",
    "open_by_handle_at",
    "name_to_handle_at",
    "mknod",
    "mknodat",
    "truncate",
    "symlink",
    "symlinkat",
    "link",
    "linkat",
    "chmod",
    "fchmod",
    "fchmodat",
    "chown",
    "fchown",
    "fchownat",
    "lchown",
    "setxattr",
    "lsetxattr",
    "fsetxattr",
    "setuid",
    "setgid",
    "setreuid",
    "setregid",
    "setresuid",
    "setresgid",
    "setgroups",
    "setfsuid",
    "setfsgid",
    "capset",
    "init_module",
    "finit_module",
    "delete_module",
    "kexec_load",
    "kexec_file_load",
    "reboot",
    "swapon",
    "swapoff",
    "acct",
    "quotactl",
    "settimeofday",
    "clock_settime",
    "clock_adjtime",
    "adjtimex",
    "sethostname",
    "setdomainname",
    "syslog",
    "iopl",
    "ioperm",
    "modify_ldt",
    "personality",
    "vhangup",
    "lookup_dcookie",
    "nfsservctl",
};

class system_call_filter {
public:
  system_call_filter() : context_(seccomp_init(SCMP_ACT_ALLOW)) {}
  ~system_call_filter() {
    if (context_ != nullptr) { seccomp_release(context_); }
  }
  system_call_filter(const system_call_filter&) = delete;
  system_call_filter& operator=(const system_call_filter&) = delete;

  // Names that this machine's architecture does not have are left out.
  bool forbid(const char* name, int error) {
    const int number = seccomp_syscall_resolve_name(name);
    return number == __NR_SCMP_ERROR ||
           keep_error(seccomp_rule_add(context_, SCMP_ACT_ERRNO(error), number, 0));
  }
  // New threads are needed, new processes are not.
  bool forbid_processes() {
    return keep_error(seccomp_rule_add(context_, SCMP_ACT_ERRNO(EPERM), SCMP_SYS(clone), 1,
                                       SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, 0))) &&
           forbid("clone3", ENOSYS);  // its flags are in memory; the C library takes clone instead
  }
  // abort() and the threads of a program need signals, but only its own. A limit is set by number
  // 0, which is the process itself.
  bool forbid_other_processes() {
    const auto self = static_cast<scmp_datum_t>(getpid());
    return forbid_unless_first_is(SCMP_SYS(kill), self) &&
           forbid_unless_first_is(SCMP_SYS(tgkill), self) &&
           forbid_unless_first_is(SCMP_SYS(prlimit64), 0);
  }
  // An open file can be set to send signals to any process of the account.
  bool forbid_signals_of_files() {
    return forbid_second(SCMP_SYS(fcntl), F_SETOWN) &&
           forbid_second(SCMP_SYS(fcntl), F_SETOWN_EX) && forbid_second(SCMP_SYS(fcntl), F_SETSIG);
  }
  // Opening a file for reading can empty it. Rules for files cover that, and truncate(), from
  // Landlock's version 3 on.
  bool forbid_emptying() {
    const auto open_and_empty = [this](int call, unsigned flags) {
      return keep_error(
          seccomp_rule_add(context_, SCMP_ACT_ERRNO(EPERM), call, 1,
                           SCMP_CMP(flags, SCMP_CMP_MASKED_EQ, O_ACCMODE | O_TRUNC, O_TRUNC)));
    };
    return open_and_empty(SCMP_SYS(open), 1) && open_and_empty(SCMP_SYS(openat), 2) &&
           forbid("openat2", ENOSYS);  // its flags are in memory
  }
  // Characters pushed into a terminal would be read by its next user.
  bool forbid_typing() { return forbid_second(SCMP_SYS(ioctl), TIOCSTI); }
  bool is_made() const { return context_ != nullptr; }
  bool load() { return keep_error(seccomp_load(context_)); }

private:
  // The kernel ignores the upper half of such an argument.
  bool forbid_second(int call, scmp_datum_t value) {
    return keep_error(seccomp_rule_add(context_, SCMP_ACT_ERRNO(EPERM), call, 1,
                                       SCMP_A1(SCMP_CMP_MASKED_EQ, 0xffffffffU, value)));
  }
  bool forbid_unless_first_is(int call, scmp_datum_t value) {
    return keep_error(
        seccomp_rule_add(context_, SCMP_ACT_ERRNO(EPERM), call, 1, SCMP_A0(SCMP_CMP_NE, value, 0)));
  }
  static bool keep_error(int result) {
    if (result < 0) { errno = -result; }
    return result >= 0;
  }
  scmp_filter_ctx context_;
};

bool has_system_call_filters() {
  return prctl(PR_GET_SECCOMP) >= 0;
}

bool filter_system_calls() {
  if (!has_system_call_filters()) { return true; }
  system_call_filter filter;
  return filter.is_made() &&
         std::all_of(std::begin(forbidden_calls), std::end(forbidden_calls),
                     [&filter](const char* name) { return filter.forbid(name, EPERM); }) &&
         filter.forbid_processes() && filter.forbid_other_processes() &&
         filter.forbid_signals_of_files() && filter.forbid_emptying() && filter.forbid_typing() &&
         filter.load();
}

}  // namespace

std::vector<int> sandbox::descriptors() const {
  std::vector<int> all = readable;
  if (writable >= 0) { all.push_back(writable); }
  if (work_folder >= 0) { all.push_back(work_folder); }
  return all;
}

sandbox_support available_sandbox() {
  return {has_system_call_filters(), file_rules_version(), account_to_take() != nullptr};
}

bool can_lend_in(const std::string& folder) {
  const passwd* const account = account_to_take();
  const auto file = replacement_file::with_random_name(folder + "/" + left_part_prefix);
  return account == nullptr || !file.valid() || lend(file.fd(), account->pw_gid, mode_of_lent_file);
}

bool enter_sandbox(const sandbox& limits, const char* program) {
  // The limits come last: until then this is still the tool, which may need more. Only that on what
  // is added needs /proc, which the rules for files hide.
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         (limits.is_program || limit_memory_of_function()) && take_account(limits) &&
         restrict_files(limits, program) && filter_system_calls() && set_limits(limits);
}
