#include "tools/media/sandbox/system_call_filter.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

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

}  // namespace

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
