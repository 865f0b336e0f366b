#include "tests/queue/queue_bench.h"

#include <filesystem>

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/metadata_v4.h"
#include "platform/sliding_window_v4.h"
#include "queue/process_state.h"
#include "queue/transcode_queue.h"
#include "tests/platform/own_mnt.h"

std::uint64_t monotonic_clock_us() {
  return qx_test::clock_us;
}

std::uint64_t gettimeofday_us() {
  return qx_test::clock_us;
}

namespace {

void note_call(const std::string& call) {
  if (qx_test::calls_noted != nullptr) { qx_test::calls_noted->push_back(call); }
}

}  // namespace

// The linker redirects the program's calls of these functions here (--wrap).
extern "C" {
int __real_close(int fd);
int __real_rename(const char* from, const char* to);
ssize_t __real_write(int fd, const void* bytes, std::size_t size);
void __real_uuid_generate_random(unsigned char* bytes);
sliding_window_v4*
__real__Z25sliding_window_v4_destroyP17sliding_window_v4(sliding_window_v4* buffer);
metadata_v4_context*
__real__Z27metadata_v4_context_destroyP19metadata_v4_context(metadata_v4_context* context);
metadata_v4_metadata_context*
__real__Z36metadata_v4_metadata_context_destroyP28metadata_v4_metadata_context(
    metadata_v4_metadata_context* entries);

int __wrap_kill(pid_t pid, int number) {
  qx_test::signals_sent.emplace_back(pid, number);
  return 0;
}
int __wrap_close(int fd) {
  note_call("close " + std::to_string(fd));
  return __real_close(fd);
}
ssize_t __wrap_write(int fd, const void* bytes, std::size_t size) {
  note_call("write " + std::to_string(size));
  return __real_write(fd, bytes, size);
}
int __wrap_rename(const char* from, const char* to) {
  note_call((qx_test::exists(to) ? "replace " : "rename ") + std::string(to));
  return __real_rename(from, to);
}
void __wrap_uuid_generate_random(unsigned char* bytes) {
  if (qx_test::answers.uuid) { return qx_test::answers.uuid(bytes); }
  __real_uuid_generate_random(bytes);
}
sliding_window_v4*
__wrap__Z25sliding_window_v4_destroyP17sliding_window_v4(sliding_window_v4* buffer) {
  if (buffer != nullptr) { note_call("buffer"); }
  return __real__Z25sliding_window_v4_destroyP17sliding_window_v4(buffer);
}
metadata_v4_context*
__wrap__Z27metadata_v4_context_destroyP19metadata_v4_context(metadata_v4_context* context) {
  if (context != nullptr) { note_call("metadata context"); }
  return __real__Z27metadata_v4_context_destroyP19metadata_v4_context(context);
}
metadata_v4_metadata_context*
__wrap__Z36metadata_v4_metadata_context_destroyP28metadata_v4_metadata_context(
    metadata_v4_metadata_context* entries) {
  if (entries != nullptr) { note_call("metadata entries"); }
  return __real__Z36metadata_v4_metadata_context_destroyP28metadata_v4_metadata_context(entries);
}
}

namespace qx_test {

std::uint64_t clock_us = start_of_clock;
std::vector<std::pair<pid_t, int>> signals_sent;
strings* calls_noted = nullptr;
item_answers answers;

namespace fs = std::filesystem;

std::string stderr_of(const std::function<void()>& action) {
  fflush(stderr);
  const int saved = dup(STDERR_FILENO);
  const int file = memfd_create("stderr", MFD_CLOEXEC);
  dup2(file, STDERR_FILENO);
  action();
  fflush(stderr);
  dup2(saved, STDERR_FILENO);
  close(saved);
  std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  EXPECT_EQ(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  close(file);
  return text;
}

ino_t inode_of(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

json11::Json item_document(const std::string& state, const json_object& more) {
  json_object document = more;
  document.emplace("entry id", "id");
  document.emplace("input file", source_file);
  document.emplace("transcode state", state);
  return document;
}

std::string job_directory(int id) {
  return "/mnt/main/tv/fileops/jobs/" + std::to_string(id);
}

queue_bench::queue_bench() {
  char name[] = "/tmp/qx.XXXXXX";
  EXPECT_NE(mkdtemp(name), nullptr);
  folder_ = name;
  clock_us = start_of_clock;
  next_queue_scan = 0;
  transcode_queue_mod_count = 0;
  signals_sent.clear();
  calls_noted = nullptr;
  answers = {};
}

queue_bench::~queue_bench() {
  empty_queue();
  std::error_code error;
  fs::remove_all(folder_, error);
}

void queue_bench::inside(const std::function<void()>& action) {
  in_own_mnt([&] {
    write_file(source_file, "source");
    fs::create_directories("/mnt/main/tv/vod");
    fs::create_directories(job_directory(7));
    action();
    empty_queue();
  });
}

void queue_bench::give_job(QueueItem& item) {
  item.fileops_job_id = 1;
  item.fileops_job_dir = folder_ + "/job";
  fs::create_directory(item.fileops_job_dir);
}

strings queue_bench::status_lines(const QueueItem& item) {
  return lines_of(read_file(item.fileops_job_dir + "/status"));
}

strings entry_ids() {
  strings ids;
  for (const QueueItem* item : transcode_queue) {
    ids.push_back(item == nullptr ? "(null)" : item->entry_id);
  }
  return ids;
}

void empty_queue() {
  for (const QueueItem* item : transcode_queue) {
    delete item;
  }
  transcode_queue.clear();
}

}  // namespace qx_test
