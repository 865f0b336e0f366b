// The transcoder beside stand-ins of Slurm's commands, in a private root.
#pragma once

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"
#include "tests/support/private_root.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

namespace qx_test {

// Lines of squeue for tasks `first` to `end` - 1 of a job.
std::string task_lines(int job, int first, int end, const std::string& state,
                       const std::string& node, const std::string& reason);

// A cluster of two nodes with eight free places each, and a film of 32 segments.
//
// A stand-in notes its call; then it runs what a test has put for it. Else sinfo prints the file
// "nodes", sbatch moves the file "begun" to "queue" and prints 7, and squeue prints "queue" for the
// tasks of a transcode, "waiting" for what waits, and "comments" for all jobs.
class cluster_bench : public testing::Test {
protected:
  cluster_bench();
  ~cluster_bench() override;

  // More settings of the tools that are started from now on.
  void configure(const std::string& lines) const;

  // Writes a file that the stand-ins read; what a stand-in does besides noting its call.
  void put(const std::string& name, const std::string& text) const;
  void let(const std::string& program, const std::string& script) const { put(program, script); }

  // The calls of all stand-ins so far, a line each: name and arguments.
  std::vector<std::string> calls() const;
  std::size_t calls_with(const std::string& words) const;
  bool wait_for_call(const std::string& words, std::size_t count = 1) const;

  // Starts the transcoder, which is ended with the test.
  void start();
  void signal(int number) const { kill(tool, number); }
  // Its end: its exit status, or 128 plus the signal.
  int wait();
  std::string errors() const;
  std::string log() const;

  // In the folder of the segments, which is there once sbatch has been called.
  std::string work_folder() const;
  std::string in_work(const std::string& name) const { return work_folder() + "/" + name; }
  unique_fd open_work() const;
  task_note note() const;

  static constexpr int tasks = 32;
  private_root root;
  scratch_folder media;
  scratch_folder vods;
  std::string source;
  std::string output = vods.file("out.mp4");
  pid_t tool = -1;
};

}  // namespace qx_test
