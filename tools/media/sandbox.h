// Confines an engine, which reads files that strangers made. Only these are left to it: the files
// that it is given, the system's libraries, its own threads, memory and time within limits. It
// opens no other file, no socket, starts no program and gains no privilege.
//
// Each means is used where the machine has it (see sandbox_support); a file that holds a playlist
// or exploits a decoder meets all of them.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

struct sandbox {
  // Descriptors of the files that the program may read, and of the one that it may read and write,
  // -1 for none. They stay open in the program, under the same numbers: it opens them as
  // "/proc/self/fd/N". A folder among the readable ones stands for all files in it.
  std::vector<int> readable;
  int writable = -1;
  // A folder in which the program may make files and rewrite them, as "/proc/self/fd/N/NAME"; -1
  // for none. It must be private to this process.
  int work_folder = -1;

  std::vector<int> descriptors() const;

  // False for a function of this very program: its memory may grow by 512 MiB. That of a program is
  // limited to 4 GiB of addresses, and more for its threads.
  bool is_program = true;

  std::uint64_t largest_file = 0;          // bytes that a file may grow to; 0 leaves only pipes
  std::chrono::seconds processor_time{0};  // of all threads together; 0 for no limit
};

// The restrictions that this machine supports beyond the limits of every kernel.
struct sandbox_support {
  bool system_calls = false;  // a filter of system calls (seccomp)
  int file_rules = 0;         // version of the rules for files (Landlock); 0 for none
  bool account = false;       // the separate account "qx-vod-engine", which this process may use
};
sandbox_support available_sandbox();

// Whether results in `folder` can be given to that account. Not on file systems without owners
// (FAT, exFAT), and not on a server that does not let root change them (NFS with "root_squash"):
// there, engines keep this process's account. Also true without such an account, and where no file
// can be made.
bool can_lend_in(const std::string& folder);

// Confines this process, which must have one thread and is about to execute `program`, an absolute
// path. Cannot be undone. False with errno if a means that the machine has cannot be applied: the
// program must not be executed then.
bool enter_sandbox(const sandbox& limits, const char* program);
