// The settings of the media tools.
#include <sys/mman.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tests/fuzz/fuzz_target.h"
#include "tools/media/tool_config.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const unique_fd file(memfd_create("media.conf", MFD_CLOEXEC));
  fuzz_expect(write_all(file.get(), {reinterpret_cast<const char*>(data), size}),
              "the file is there");
  std::vector<std::string> warnings;
  const std::string path = "/proc/self/fd/" + std::to_string(file.get());
  const tool_config config = read_tool_config(path, warnings);
  fuzz_expect(config.stall_seconds >= 1, "an encoder may stand still for some time");
  fuzz_expect(config.longest_hours >= 1, "some lengths are believed");
  fuzz_expect(config.segment_seconds >= 2, "a segment has a length");
  fuzz_expect(config.spread == "none" || config.spread == "slurm", "there is one kind of cluster");
  fuzz_expect(config.spread_partition.find_first_of(" \t\n\"'$`\\;") == std::string::npos,
              "a partition has a plain name");
  fuzz_expect(config.spread_cpus >= 1, "a task has a processor");
  for (const std::string& warning : warnings) {
    fuzz_expect(warning.rfind(path, 0) == 0, "a warning begins with the path");
  }
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  return {"# all\nstall.seconds = 60\nlength.max_hours=12\n",
          "checkpoint = yes\ncheckpoint.keep_days = 3\ncheckpoint.segment_seconds=99999999999\n",
          "spread = slurm\nspread.partition = vod\nspread.nodes = 4\nspread.cpus=8\n",
          "stall.seconds = -1\nno such = 1\n= 2\nstall.seconds\r\n",
          std::string("length.max_hours = 1\0\x80\xff", 23)};
}
