#include "tests/tools/qxmi_vod_transcode/segment_folder_bench.h"

#include <cerrno>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "tools/media/segment_folder.h"

namespace qx_test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kept_name = ".nfs0001";

segment_folder_bench* bench = nullptr;

}  // namespace

extern "C" {
int __real_fchown(int fd, uid_t user, gid_t group);
int __real_flock(int fd, int operation);
int __real_mkdirat(int directory, const char* name, mode_t mode);
int __real_openat(int directory, const char* name, int flags, mode_t mode);
int __real_unlinkat(int directory, const char* name, int flags);
int __real_fsync(int fd);
int __real_linkat(int from, const char* name, int to, const char* new_name, int flags);
int __real_renameat2(int from, const char* name, int to, const char* new_name, unsigned int flags);
}

// What the linker puts in the place of the calls.
struct call_hooks {
  static bool fails(int error) {
    if (error != 0) { errno = error; }
    return error != 0;
  }
  static bool lock_fails(int fd) {
    if (!bench) { return false; }
    const bool only_reads = (fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDONLY;
    if (bench->locks_only_to_write && only_reads) { return fails(EBADF); }
    return bench->before_lock && fails(bench->before_lock());
  }
  static bool mkdir_fails(const char* name) {
    return bench && bench->before_mkdir && fails(bench->before_mkdir(name));
  }
  static bool open_fails(const char* name) {
    return bench && bench->before_open && fails(bench->before_open(name));
  }
  static int add_mode(int directory, const char* name, mode_t mode) {
    return bench && bench->added_mode != 0 ? fchmodat(directory, name, mode | bench->added_mode, 0)
                                           : 0;
  }
  // A file counts as open as long as it is locked.
  static int unlink(int directory, const char* name, int flags) {
    if (!bench || !bench->keeps_open_files) { return __real_unlinkat(directory, name, flags); }
    bench->remove_closed_files();
    if (std::string(name) != segment_lock_name) { return __real_unlinkat(directory, name, flags); }
    return renameat(directory, name, directory, kept_name);
  }
  static void note_unlink(const char* name) {
    if (!bench) { return; }
    bench->unlinked.emplace_back(name);
    if (bench->after_unlink) { bench->after_unlink(name); }
  }
  static bool sync_fails(int fd) {
    struct stat status = {};
    if (!bench || fstat(fd, &status) != 0) { return false; }
    bench->synced.insert(status.st_ino);
    return S_ISDIR(status.st_mode) && bench->before_sync_of_folder &&
           fails(bench->before_sync_of_folder());
  }
  static bool rename_fails() {
    return bench && bench->before_exclusive_rename && fails(bench->before_exclusive_rename());
  }
  static bool link_fails() { return bench && bench->before_link && fails(bench->before_link()); }
  static bool chown_fails() { return bench && bench->before_chown && fails(bench->before_chown()); }
};

extern "C" {
int __wrap_fchown(int fd, uid_t user, gid_t group) {
  return call_hooks::chown_fails() ? -1 : __real_fchown(fd, user, group);
}
int __wrap_flock(int fd, int operation) {
  return call_hooks::lock_fails(fd) ? -1 : __real_flock(fd, operation);
}
int __wrap_mkdirat(int directory, const char* name, mode_t mode) {
  if (call_hooks::mkdir_fails(name) || __real_mkdirat(directory, name, mode) != 0) { return -1; }
  return call_hooks::add_mode(directory, name, mode);
}
int __wrap_openat(int directory, const char* name, int flags, mode_t mode) {
  return call_hooks::open_fails(name) ? -1 : __real_openat(directory, name, flags, mode);
}
int __wrap_unlinkat(int directory, const char* name, int flags) {
  const int result = call_hooks::unlink(directory, name, flags);
  if (result == 0) { call_hooks::note_unlink(name); }
  return result;
}
int __wrap_fsync(int fd) {
  return call_hooks::sync_fails(fd) ? -1 : __real_fsync(fd);
}
int __wrap_linkat(int from, const char* name, int to, const char* new_name, int flags) {
  return call_hooks::link_fails() ? -1 : __real_linkat(from, name, to, new_name, flags);
}
int __wrap_renameat2(int from, const char* name, int to, const char* new_name, unsigned int flags) {
  return call_hooks::rename_fails() ? -1 : __real_renameat2(from, name, to, new_name, flags);
}
}

segment_folder_bench::segment_folder_bench()
    : directory(open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  bench = this;
}

segment_folder_bench::~segment_folder_bench() {
  bench = nullptr;
}

void segment_folder_bench::remove_closed_files() const {
  for (const std::string& name : folder.names()) {
    const std::string kept = folder.file(name) + "/" + kept_name;
    const unique_fd file(open(kept.c_str(), O_RDWR | O_CLOEXEC));
    if (file.valid() && __real_flock(file.get(), LOCK_EX | LOCK_NB) == 0) { fs::remove(kept); }
  }
}

std::string segment_folder_bench::left_folder(const std::string& source, std::time_t age_s,
                                              const std::string& name) const {
  const std::string path = folder.file(name);
  fs::create_directory(path);
  fs::permissions(path, fs::perms::owner_all);
  struct stat status = {};
  stat(source.c_str(), &status);
  std::ofstream(path + "/" + segment_source_name) << segment_source_text(source, status);
  std::ofstream(path + "/" + segment_lock_name);
  std::ofstream(path + "/v000000.mp4") << "a segment";
  set_age(path, age_s);
  return path;
}

void segment_folder_bench::set_age(const std::string& path, std::time_t age_s) {
  const timespec then = {std::time(nullptr) - age_s, 0};
  const timespec times[2] = {then, then};
  EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

std::string segment_folder_bench::made_source() const {
  std::ofstream(sources.file("film.mkv")) << "a film";
  return sources.file("film.mkv");
}

}  // namespace qx_test
