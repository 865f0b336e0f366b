// The kernel's side of a private root: making its namespaces, joining them, starting processes in
// them. Every function but fork_sibling returns 0, or negative with errno; they are called in
// forked children only, which have one thread.
#pragma once

#include <string>

#include <sys/types.h>

namespace qx_test {

// New mount and process-id namespaces for the caller (and, unless it is root, a user namespace in
// which it is). The process-id namespace holds the caller's next child, as process 1.
int make_namespaces();

// `folder`/mnt and `folder`/run over /mnt and /run, `folder`/tools over /usr/bin.
int mount_private_root(const std::string& folder);

// The caller's own /proc, for process 1 of a new process-id namespace.
int mount_own_proc();

// The caller's files become those of that keeper's private root, and its next child is born among
// the private root's processes.
int join_namespaces(pid_t keeper);
// The same, and the next child's machine has been up for that many seconds.
int join_namespaces(pid_t keeper, long uptime_s);

// Forks a child whose parent is the caller's parent, which can thus wait for it although it lives
// in a namespace that its parent is not in.
pid_t fork_sibling();

// Closes every descriptor from 3 on but these two.
void close_all_but(int first, int second);

}  // namespace qx_test
