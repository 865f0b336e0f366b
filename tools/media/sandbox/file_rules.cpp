#include "tools/media/sandbox/file_rules.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/unique_fd.h"

namespace {

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

}  // namespace

int file_rules_version() {
  const long version =
      syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  return version > 0 ? static_cast<int>(version) : 0;
}

bool restrict_files(const sandbox& limits, const char* program) {
  const int version = file_rules_version();
  if (version == 0) { return true; }
  const std::uint64_t handled = known_rights(version);
  const unique_fd ruleset(
      static_cast<int>(syscall(SYS_landlock_create_ruleset, &handled, sizeof(handled), 0)));
  return ruleset.valid() && allow_files(ruleset.get(), version, limits, program) &&
         syscall(SYS_landlock_restrict_self, ruleset.get(), 0) == 0;
}
