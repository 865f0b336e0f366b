// Job directories of the file-operations subsystem, as a start finds them. The input is a list of
// entries divided by form feeds, each a name and, after a line feed, a status text. Works in an own
// /mnt: needs root, or a kernel that lets users make namespaces.
#include "fileops/sweep.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "queue/queue_item.h"
#include "queue/transcode_queue.h"
#include "tests/fuzz/fuzz_target.h"

namespace {

namespace fs = std::filesystem;

const fs::path jobs_folder = "/mnt/main/tv/fileops/jobs";
constexpr int own_job = 7;
constexpr std::size_t most_entries = 8;

void become_root_of_user_namespace() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  fuzz_expect(unshare(CLONE_NEWUSER) == 0, "there are user namespaces");
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << "0 " + user + " 1";
  std::ofstream("/proc/self/gid_map") << "0 " + group + " 1";
}

bool make_own_mnt() {
  if (geteuid() != 0) { become_root_of_user_namespace(); }
  fuzz_expect(unshare(CLONE_NEWNS) == 0 &&
                  mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                  mount("tmpfs", "/mnt", "tmpfs", 0, "size=8m") == 0,
              "an own /mnt can be mounted");
  return true;
}

void make_job(const std::string& name, std::string_view status) {
  const bool is_name = !name.empty() && name.size() < 64 && name.find('/') == std::string::npos &&
                       name.find('\0') == std::string::npos && name != "." && name != "..";
  if (!is_name) { return; }
  std::error_code error;
  fs::create_directory(jobs_folder / name, error);
  std::ofstream(jobs_folder / name / "status", std::ios::binary) << status;
}

void make_jobs(std::string_view text) {
  for (std::size_t i = 0; i < most_entries && !text.empty(); ++i) {
    const std::size_t end = std::min(text.find('\f'), text.size());
    const std::string_view entry = text.substr(0, end);
    const std::size_t name_end = std::min(entry.find('\n'), entry.size());
    make_job(std::string(entry.substr(0, name_end)),
             entry.substr(std::min(name_end + 1, entry.size())));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

bool is_left(const char* name) {
  return fs::exists(jobs_folder / name);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool is_ready = make_own_mnt();
  fs::create_directories(jobs_folder);
  make_jobs({reinterpret_cast<const char*>(data), size});
  make_job("7", "op=vod\n");
  make_job("8", "op=copy\n");
  make_job("9", "op=vod\nstate=\n");
  make_job("8x", "op=vod\n");
  QueueItem own;
  own.fileops_job_id = own_job;
  transcode_queue.push_back(&own);
  markdown_unknown_vod_fileops();
  transcode_queue.clear();
  fuzz_expect(is_ready && is_left("7"), "a job of the queue stays");
  fuzz_expect(is_left("8"), "a job of another program stays");
  fuzz_expect(is_left("8x"), "what is no job stays");
  fuzz_expect(!is_left("9"), "a job that nobody knows goes");
  fs::remove_all(jobs_folder);
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  return {"1\nop=vod\nstate=Ready\n\f2\nop=copy\n", "4294967303\nop=vod\n\f07\nop=vod\nop=x\n",
          "3\nop = vod\n\f4\nop=vod", std::string("5\nop=vod\0\n", 10) + "\f6\n",
          "12\n" + std::string(5000, 'x') + "\nop=vod\n"};
}
