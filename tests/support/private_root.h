// A private machine for one test: its own /mnt and /run, stand-in tools in /usr/bin, its own
// process ids and uptime. The shipped service binary runs in it under its real paths, many at once
// and without touching the machine.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "tests/support/files.h"
#include "tests/support/tool_plan.h"

namespace qx_test {

// Which programs are in /usr/bin of the private root.
enum class tool_set { stand_ins, built };

// More programs in /usr/bin of the private root: scripts by their names.
using script_set = std::map<std::string, std::string>;

// The output of a program run inside, and how it ended: its exit status, or 128 plus the signal.
struct run_result {
  int status = -1;
  std::string out;
  std::string err;
};

// The environment in which a program inside starts.
struct spawn_options {
  std::string stdout_path = "/dev/null";  // host paths, appended to
  std::string stderr_path = "/dev/null";
  std::vector<std::string> environment;  // more entries "NAME=VALUE"
  long uptime_s = 100000;                // the uptime that sysinfo reports at the start
};

// The path of one of the built programs. They are those of the tests' own build, or, to compare
// them with those of another, in the folder that QX_PROGRAMS names in the environment.
std::string built_program(std::string_view name);

// Owns a temporary folder and a process (the keeper, process 1 of the private root). However the
// test ends, the keeper notices, everything running inside is killed, and the folder is removed.
// With QX_KEEP_ROOT set in the environment the folder is kept.
class private_root {
public:
  explicit private_root(tool_set tools = tool_set::stand_ins, const script_set& scripts = {});
  ~private_root();
  private_root(const private_root&) = delete;
  private_root& operator=(const private_root&) = delete;

  // The path at which the test itself finds a path of the private root. Caution: a symbolic link to
  // an absolute path inside leads the test to the machine's own files; use a relative target.
  std::string path(std::string_view inside) const;
  // A file in the temporary folder, which has the same path inside and outside.
  std::string scratch(std::string_view name) const { return folder_ + "/" + std::string(name); }

  void write(std::string_view inside, std::string_view content) const;
  std::string read(std::string_view inside) const;
  bool exists(std::string_view inside) const;

  // A source file of a few bytes; stand-ins do not read it. With a file type it already has
  // metadata, so no identification runs.
  void write_source(std::string_view inside, std::string_view file_type = "") const;
  void write_metadata(std::string_view media_file, const name_values& entries) const;
  // The service's settings: "max profile", "fullspeed", ...
  void write_config(const name_values& entries) const;
  void write_queue_file(std::string_view json) const;
  std::string queue_file() const;
  // A file-operations job's status file by key; for a repeated key, the last value.
  std::map<std::string, std::string> job_status(int job_id) const;

  // Sets what the tool does on every run, or only on run `number` (from 1).
  void plan(std::string_view tool_name, const tool_plan& what) const;
  void plan_call(std::string_view tool_name, int number, const tool_plan& what) const;
  // Lets every stand-in continue that waits, or will wait, for `name`.
  void release(std::string_view name) const;
  bool wait_for_mark(std::string_view name) const;
  std::vector<tool_call> calls(std::string_view tool_name = "") const;
  // Run `number` of this tool; waits for it, and fails the test if it does not come.
  tool_call wait_for_call(std::string_view tool_name, int number = 1) const;
  // Makes a tool impossible to execute; call it before or while the service runs.
  void break_tool(std::string_view program) const;

  // Runs a program inside until it ends, with empty standard input. argv[0] is its path inside.
  run_result run(const std::vector<std::string>& argv) const;
  // Starts a program and returns its process id as the test sees it; -1, with a failed test, if it
  // cannot be started. The caller may wait for it; otherwise it is killed and reaped at the end of
  // the private root.
  pid_t spawn(const std::vector<std::string>& argv, const spawn_options& options = {}) const;
  // Calls `action` in a separate process that sees the private root's files, and returns its result
  // (0 to 255). The process may mount.
  int run_inside(const std::function<int()>& action) const;
  // Mounts a small file system of this many bytes on a folder, so that a test can fill it.
  void mount_small_disk(std::string_view inside, unsigned long bytes) const;

  // Converts a process id from inside to the test's view, and back; -1 if there is none.
  pid_t outer_pid(pid_t inner) const;
  pid_t inner_pid(pid_t outer) const;
  // All processes inside except the keeper, as the test sees them, including zombies.
  std::vector<pid_t> processes() const;

private:
  void make_folders(tool_set tools, const script_set& scripts);
  void start_keeper();

  std::string folder_;
  pid_t keeper_ = -1;
  int life_fd_ = -1;  // the keeper ends when this is closed
  mutable std::vector<pid_t> spawned_;
};

}  // namespace qx_test
