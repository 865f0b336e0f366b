// The address of a local socket.
#pragma once

#include <cerrno>
#include <cstring>
#include <string_view>

#include <sys/socket.h>
#include <sys/un.h>

// A socket file's path in the form that the kernel expects.
struct local_address {
  sockaddr_un address{};

  // Returns false with errno set if the path is empty (ENOENT) or longer than the kernel's limit of
  // 107 bytes (ENAMETOOLONG).
  bool set(std::string_view path) {
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
      errno = path.empty() ? ENOENT : ENAMETOOLONG;
      return false;
    }
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, path.data(), path.size());
    return true;
  }
  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
};
