#include "tests/tools/qxmi_vod_transcode/cluster_bench.h"

#include <algorithm>
#include <filesystem>

#include <fcntl.h>
#include <sys/wait.h>

#include "tests/support/files.h"
#include "tests/support/media/made_media.h"
#include "tests/support/wait_until.h"

namespace qx_test {
namespace {

namespace fs = std::filesystem;

constexpr const char* stand_in = R"(#!/bin/sh
name=${0##*/}
echo "$name $*" >>/run/slurm/calls
. "/run/slurm/$name"
)";

constexpr const char* print_jobs = R"(case "$*" in
*--states=PD*) cat /run/slurm/waiting ;;
*--name=*) cat /run/slurm/queue ;;
*) cat /run/slurm/comments ;;
esac
)";

script_set stand_ins() {
  script_set scripts;
  for (const char* name : {"sbatch", "squeue", "scontrol", "scancel", "sinfo"}) {
    scripts[name] = stand_in;
  }
  return scripts;
}

}  // namespace

std::string task_lines(int job, int first, int end, const std::string& state,
                       const std::string& node, const std::string& reason) {
  std::string lines;
  for (int task = first; task < end; ++task) {
    lines += std::to_string(job) + "_" + std::to_string(task) + "|" + state + "|" + node + "|" +
             reason + "\n";
  }
  return lines;
}

cluster_bench::cluster_bench() : root(tool_set::built, stand_ins()) {
  fs::create_directory(root.scratch("run/slurm"));
  fs::create_directory(vods.file(".out.mp4.metadata"));
  for (const char* name : {"calls", "queue", "waiting", "comments", "scontrol", "scancel"}) {
    put(name, "");
  }
  put("nodes", "vod vod* n1 idle 0/8/0/8\nvod vod* n2 idle 0/8/0/8\n");
  put("begun", task_lines(7, 0, tasks, "R", "n1", "None"));
  let("sinfo", "cat /run/slurm/nodes\n");
  let("squeue", print_jobs);
  let("sbatch", "cp /run/slurm/begun /run/slurm/queue.part\n"
                "mv /run/slurm/queue.part /run/slurm/queue\necho 7\n");
  configure("");
  source = make_media(media, "film.mkv",
                      "-f lavfi -i testsrc2=s=128x72:r=5:d=64 -c:v libx264 -preset ultrafast -g 10 "
                      "-pix_fmt yuv420p");
}

cluster_bench::~cluster_bench() {
  if (tool > 0) { kill(tool, SIGKILL); }
}

void cluster_bench::configure(const std::string& lines) const {
  write_file(media.file("media.conf"),
             "checkpoint=yes\ncheckpoint.segment_seconds=2\ncheckpoint.min_seconds=6\n"
             "spread=slurm\nspread.cpus=1\nspread.min_length=60\n" +
                 lines);
}

void cluster_bench::put(const std::string& name, const std::string& text) const {
  const std::string path = root.scratch("run/slurm/" + name);
  write_file(path + ".new", text);
  fs::rename(path + ".new", path);
}

std::vector<std::string> cluster_bench::calls() const {
  return lines_of(read_file(root.scratch("run/slurm/calls")));
}

std::size_t cluster_bench::calls_with(const std::string& words) const {
  const std::vector<std::string> all = calls();
  return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [&](const auto& call) {
    return call.find(words) != std::string::npos;
  }));
}

bool cluster_bench::wait_for_call(const std::string& words, std::size_t count) const {
  return wait_until([&] { return calls_with(words) >= count; });
}

void cluster_bench::start() {
  spawn_options options;
  options.stdout_path = root.scratch("progress");
  options.stderr_path = root.scratch("errors");
  options.environment = {"QX_MEDIA_CONF=" + media.file("media.conf")};
  tool = root.spawn({"/usr/bin/qxmi_vod_transcode", "--profile", "72", "-f", "mp4", "-o", output,
                     "--file", source},
                    options);
}

int cluster_bench::wait() {
  int status = 0;
  EXPECT_TRUE(wait_until([&] { return waitpid(tool, &status, WNOHANG) == tool; }))
      << "still running: " << errors();
  tool = -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string cluster_bench::errors() const {
  return read_file(root.scratch("errors"));
}

std::string cluster_bench::log() const {
  return read_file(vods.file(".out.mp4.metadata/vod.log"));
}

std::string cluster_bench::work_folder() const {
  for (const std::string& name : vods.names()) {
    if (name.rfind(".qx-segments-", 0) == 0) { return vods.file(name); }
  }
  return {};
}

unique_fd cluster_bench::open_work() const {
  return unique_fd(open(work_folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

task_note cluster_bench::note() const {
  const unique_fd work = open_work();
  task_note read;
  EXPECT_TRUE(read_task_note(work.get(), read));
  return read;
}

}  // namespace qx_test
