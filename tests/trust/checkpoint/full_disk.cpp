#include "tests/trust/checkpoint/full_disk.h"

#include <filesystem>
#include <fstream>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "tools/media/segment_folder.h"

namespace qx_test {

namespace {

namespace fs = std::filesystem;

constexpr const char* other_folder = ".qx-segments-0123456789abcdef";

// Of the results, which only this process and its children see.
class small_disk {
public:
  explicit small_disk(std::string folder) : folder_(std::move(folder)) {}
  ~small_disk() {
    if (mounted_) { umount2(folder_.c_str(), MNT_DETACH); }
  }
  small_disk(const small_disk&) = delete;
  small_disk& operator=(const small_disk&) = delete;

  bool resize(std::uintmax_t bytes) {
    const unsigned long flags = mounted_ ? MS_REMOUNT : 0;
    const std::string size = "size=" + std::to_string(bytes);
    mounted_ = mount("small", folder_.c_str(), "tmpfs", flags, size.c_str()) == 0;
    return mounted_;
  }

private:
  std::string folder_;
  bool mounted_ = false;
};

bool own_mounts() {
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

// Segments for a source that is there, which nobody is using.
void leave_segments(const film_bench& film, std::uintmax_t bytes) {
  const std::string folder = film.results().file(other_folder);
  fs::create_directory(folder);
  fs::permissions(folder, fs::perms::owner_all);
  struct stat status = {};
  stat(film.source().c_str(), &status);
  std::ofstream(folder + "/source") << segment_source_text(film.source(), status);
  std::ofstream(folder + "/v000000.mp4") << std::string(bytes, 's');
}

struct disk_figures {
  long tried = 0;
  long made = 0;
  long made_way = 0;  // the segments of somebody else
};

void transcode_on(film_bench& film, bool with_others, disk_figures& sums) {
  film.tool().reset();
  tool_run run = film.start();
  const tool_end end = run.wait();
  ++sums.tried;
  sums.made_way += with_others && !fs::exists(film.results().file(other_folder)) ? 1 : 0;
  if (end.status == 0) {
    ++sums.made;
    return film.expect_right_result("on a small disk", with_others);
  }
  const std::vector<std::string> lines = run.error_lines();
  const bool says_why =
      lines.size() == 1 && lines[0].find("No space left on device") != std::string::npos;
  film.found().expect(says_why, film.about("on a full disk said: " + run.errors()));
  for (const std::string& name : film.results().names()) {
    // Only the room for joining them was missing.
    if (fs::exists(film.results().file(name) + "/complete")) { continue; }
    film.found().add(film.about("left on a full disk: " + name + ", said: " + run.errors()));
  }
}

}  // namespace

void fill_disks(film_bench& film, long count) {
  small_disk disk(film.results().path());
  const std::uintmax_t result = fs::file_size(film.reference());
  disk_figures sums;
  for (long i = 0; i < count; ++i) {
    // From a fraction of the result to more than result and segments need.
    const std::uintmax_t size = result / 4 + random_below(static_cast<unsigned>(6 * result));
    if ((i == 0 && !own_mounts()) || !disk.resize(size)) {
      std::printf("checkpoints: full disks: not tried, which needs the right to mount\n");
      return;
    }
    const bool with_others = random_below(3) == 0;
    if (with_others) { leave_segments(film, result / 2); }
    transcode_on(film, with_others, sums);
    film.clear();
  }
  std::printf("checkpoints: small disks: %ld, on %ld of which the result was made; on %ld the "
              "segments of another transcode made way\n",
              sums.tried, sums.made, sums.made_way);
}

}  // namespace qx_test
