// Tells which file system a path leads to without touching that file system, so that the caller can
// avoid one that may never answer.
//
// A file system on a local disk or in memory always answers. Any other one, such as NFS, CIFS, FUSE
// or autofs, depends on a server or a daemon, and can block whoever looks at it: it is foreign.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One mounted file system.
struct mount_point {
  int id = 0;        // unique while it is mounted
  int parent = 0;    // id of the mount that it lies on; -1 for the root
  std::string path;  // absolute, without a trailing slash; "" for the root
  bool is_local = true;
};

// The mounts in the order of the kernel's list.
using mount_table = std::vector<mount_point>;

// Reads the text of /proc/self/mountinfo. Lines that have another form are left out.
mount_table parse_mounts(std::string_view mountinfo);

// The mounts of this process. Read again only after a change, which costs one system call to
// notice. Empty if /proc cannot be read.
const mount_table& current_mounts();

// The first foreign mount on the way to `path`, or nothing if the way is local or ends at a missing
// directory. Follows links, except in the last component, and reads only local file systems.
std::optional<mount_point> foreign_mount_of(const mount_table& mounts, const std::string& path);
