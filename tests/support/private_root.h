// A machine of its own for one test: private /mnt and /run, stand-in tools in /usr/bin, its own
// process ids and its own uptime, so that the very service binary that ships runs there under its
// real paths, many at once and without touching the machine.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "tests/support/files.h"
#include "tests/support/tool_plan.h"

namespace qx_test {

// Whose programs stand in /usr/bin of the private root.
enum class tool_set { stand_ins, built };

// What a program run inside printed, and how it ended: its exit status, or 128 plus the signal.
struct run_result {
  int status = -1;
  std::string out;
  std::string err;
};

// Files and folders that a program started inside begins with.
struct spawn_options {
  std::string stdout_path = "/dev/null";  // host paths, appended to
  std::string stderr_path = "/dev/null";
  long uptime_s = 100000;  // what sysinfo reports at the start
};

// Owns one temporary folder and one process (the keeper, process 1 of the private root). Whatever
// way the test ends, the keeper notices, everything that runs inside is killed, and the folder is
// removed; with QX_KEEP_ROOT set in the environment the folder stays.
class private_root {
public:
  explicit private_root(tool_set tools = tool_set::stand_ins);
  ~private_root();
  private_root(const private_root&) = delete;
  private_root& operator=(const private_root&) = delete;

  // The path by which the test itself reaches a path of the private root. Trap: a symbolic link to
  // an absolute path inside leads the test to the machine's own files; use a relative target.
  std::string path(std::string_view inside) const;
  // A file in the temporary folder, seen under the same path from inside and outside.
  std::string scratch(std::string_view name) const { return folder_ + "/" + std::string(name); }

  void write(std::string_view inside, std::string_view content) const;
  std::string read(std::string_view inside) const;
  bool exists(std::string_view inside) const;

  // A source file of a few bytes; stand-ins do not look into it. With a file type its metadata are
  // there already, so that no identification is run.
  void write_source(std::string_view inside, std::string_view file_type = "") const;
  void write_metadata(std::string_view media_file, const name_values& entries) const;
  // The service's settings: "max profile", "fullspeed", ...
  void write_config(const name_values& entries) const;
  void write_queue_file(std::string_view json) const;
  std::string queue_file() const;
  // A file-operations job's status file by key; of a key that occurs twice, the last value.
  std::map<std::string, std::string> job_status(int job_id) const;

  // Sets what the tool does at every run, or at its run `number` alone (from 1).
  void plan(std::string_view tool_name, const tool_plan& what) const;
  void plan_call(std::string_view tool_name, int number, const tool_plan& what) const;
  // Lets every stand-in that waits, or will wait, for `name` go on.
  void release(std::string_view name) const;
  bool wait_for_mark(std::string_view name) const;
  std::vector<tool_call> calls(std::string_view tool_name = "") const;
  // The run `number` of that tool; waits for it, and fails the test when it does not come.
  tool_call wait_for_call(std::string_view tool_name, int number = 1) const;
  // Makes a tool impossible to execute; to be called before or while the service runs.
  void break_tool(std::string_view program) const;

  // Runs a program inside to its end, standard input empty. argv[0] is its path inside.
  run_result run(const std::vector<std::string>& argv) const;
  // Starts one and returns its process id as the test sees it; -1 with a failed test when it cannot
  // be started. The caller may wait for it; what it has not waited for by the end of the private
  // root is killed and reaped there.
  pid_t spawn(const std::vector<std::string>& argv, const spawn_options& options = {}) const;
  // Calls `action` in a process of its own that sees the private root's files, and returns its
  // result (0 to 255). It may mount.
  int run_inside(const std::function<int()>& action) const;
  // Mounts a file system of that many bytes on a folder, to fill it up.
  void mount_small_disk(std::string_view inside, unsigned long bytes) const;

  // A process id inside, as the test sees it, and the other way round; -1 when there is none.
  pid_t outer_pid(pid_t inner) const;
  pid_t inner_pid(pid_t outer) const;
  // All that live inside but the keeper, as the test sees them, zombies included.
  std::vector<pid_t> processes() const;

private:
  void make_folders(tool_set tools);
  void start_keeper();

  std::string folder_;
  pid_t keeper_ = -1;
  int life_fd_ = -1;  // the keeper ends when this is closed
  mutable std::vector<pid_t> spawned_;
};

}  // namespace qx_test
