// The kernel's side of a private root: creating its namespaces, joining them, starting processes in
// them. Every function except fork_sibling returns 0, or negative with errno set. They are only
// called in forked children, which have one thread.
#pragma once

#include <string>

#include <sys/types.h>

namespace qx_test {

// Creates mount and process-id namespaces for the caller (and, unless it is root, a user namespace
// in which it is). The caller's next child becomes process 1 of the process-id namespace.
int make_namespaces();

// Mounts `folder`/mnt and `folder`/run over /mnt and /run, `folder`/tools over /usr/bin.
int mount_private_root(const std::string& folder);

// Mounts a new /proc; called in process 1 of a new process-id namespace.
int mount_own_proc();

// The caller sees the files of the keeper's private root, and its next child belongs to the private
// root's processes.
int join_namespaces(pid_t keeper);
// The same, and for the next child the machine has been up for this many seconds.
int join_namespaces(pid_t keeper, long uptime_s);

// Forks a child whose parent is the caller's parent, which can thus wait for it although the child
// lives in a namespace that the parent is not in.
pid_t fork_sibling();

// Closes every descriptor from 3 on except these two.
void close_all_but(int first, int second);

}  // namespace qx_test
