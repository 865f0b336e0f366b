// The server of the control socket: its socket file and its connections.
#include "platform/comm_server_v4.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "platform/clock.h"
#include "platform/poll_until.h"

namespace {

constexpr std::size_t most_clients = 256;
// Descriptors that no connection may take: children need pipes, and files have to be written.
constexpr rlim_t reserved_descriptors = 32;
// How long no connection is asked for when there was no descriptor to give it.
constexpr std::uint64_t accept_pause_us = 250000;

bool make_address(char const* path, sockaddr_un& address) {
  address.sun_family = AF_UNIX;
  if (strlen(path) >= sizeof(address.sun_path)) {
    errno = ENAMETOOLONG;
    return false;
  }
  memcpy(address.sun_path, path, strlen(path) + 1);
  return true;
}

// Removes a socket file that nobody listens on; anything else stays, and the bind fails.
void remove_stale(sockaddr_un const& address) {
  struct stat status {};
  if (lstat(address.sun_path, &status) != 0 || !S_ISSOCK(status.st_mode)) {
    return;
  }
  unique_fd const probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (connect(probe.get(), reinterpret_cast<sockaddr const*>(&address), sizeof(address)) != 0 &&
      errno == ECONNREFUSED) {
    unlink(address.sun_path);
  }
}

bool listen_on(int fd, char const* path) {
  sockaddr_un address{};
  if (!make_address(path, address)) {
    return false;
  }
  remove_stale(address);
  return bind(fd, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) == 0 &&
         listen(fd, SOMAXCONN) == 0;
}

bool is_readable(int fd) {
  pollfd listener{fd, POLLIN, 0};
  return poll(&listener, 1, 0) > 0;
}

// Descriptors come lowest first, so the number of a new one tells how many are left.
bool has_descriptors_to_give(int fd) {
  rlimit limit{};
  unique_fd const probe(fcntl(fd, F_DUPFD_CLOEXEC, 0));
  return probe.valid() && getrlimit(RLIMIT_NOFILE, &limit) == 0 &&
         static_cast<rlim_t>(probe.get()) + reserved_descriptors < limit.rlim_cur;
}

enum class accept_result { more, none, broken };

accept_result accept_one(comm_socket_v4& server) {
  unique_fd fd(accept4(server.listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!fd.valid()) {
    bool const broken = errno == EBADF || errno == EINVAL || errno == ENOTSOCK;
    return broken ? accept_result::broken : accept_result::none;
  }
  if (server.clients.size() < most_clients) {
    auto client = std::make_unique<comm_socket_v4_client>();
    client->fd = std::move(fd);
    server.clients.push_back(std::move(client));
  }
  return accept_result::more;
}

// Bounded, so that clients that connect and leave in a loop cannot hold up the service. False when
// the listening socket is broken.
bool accept_waiting(comm_socket_v4& server) {
  std::uint64_t const now = monotonic_clock_us();
  if (now < server.accept_again_us) {
    return true;
  }
  for (std::size_t i = 0; i < most_clients && is_readable(server.listener.get()); ++i) {
    if (!has_descriptors_to_give(server.listener.get())) {
      server.accept_again_us = now + accept_pause_us;
      return true;
    }
    accept_result const result = accept_one(server);
    if (result != accept_result::more) {
      return result != accept_result::broken;
    }
  }
  return true;
}

// Reads one round's worth, unless an earlier request has not been handed out yet.
void read_from(comm_socket_v4_client& client) {
  if (!client.fd.valid() || client.input_ended || comm_client_has_something(client)) {
    return;
  }
  char block[65536];
  ssize_t const got = recv(client.fd.get(), block, sizeof(block), MSG_DONTWAIT);
  if (got > 0) {
    client.received.erase(0, client.handed_out);
    client.handed_out = 0;
    client.received.append(block, static_cast<std::size_t>(got));
  } else if (got == 0) {
    client.input_ended = true;
  } else if (errno != EAGAIN && errno != EINTR) {
    client.fd.reset();
  }
}

bool has_left(comm_socket_v4_client const& client) {
  return client.announced &&
         (!client.fd.valid() || (client.input_ended && !comm_client_has_something(client)));
}

}  // namespace

comm_socket_v4* comm_socket_v4_create() {
  return new (std::nothrow) comm_socket_v4;
}

comm_socket_v4* comm_socket_v4_destroy(comm_socket_v4* server) {
  if (server == nullptr) {
    return nullptr;
  }
  struct stat status {};
  if (server->listener.valid() && lstat(server->path.c_str(), &status) == 0 &&
      status.st_dev == server->device && status.st_ino == server->inode) {
    unlink(server->path.c_str());
  }
  delete server;
  return nullptr;
}

int comm_socket_v4_create_server(comm_socket_v4* server, const char* path) {
  unique_fd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  struct stat status {};
  if (!fd.valid() || !listen_on(fd.get(), path) || lstat(path, &status) != 0) {
    return -1;
  }
  server->listener = std::move(fd);
  server->path = path;
  server->device = status.st_dev;
  server->inode = status.st_ino;
  return 0;
}

int comm_socket_v4_fd(const comm_socket_v4* server) {
  return server == nullptr ? -1 : server->listener.get();
}

int comm_socket_v4_idle(comm_socket_v4* server) {
  if (!server->listener.valid() || !accept_waiting(*server)) {
    return -1;
  }
  for (auto const& client : server->clients) {
    read_from(*client);
  }
  return 0;
}

comm_socket_v4_client* comm_socket_v4_accept_connection(comm_socket_v4* server) {
  for (auto const& client : server->clients) {
    if (!client->announced) {
      client->announced = true;
      return client.get();
    }
  }
  return nullptr;
}

comm_socket_v4_client* comm_socket_v4_get_disconnected_client(comm_socket_v4* server) {
  auto const left = std::find_if(server->clients.begin(), server->clients.end(),
                                 [](auto const& client) { return has_left(*client); });
  if (left == server->clients.end()) {
    return nullptr;
  }
  comm_socket_v4_client* const client = left->release();
  server->clients.erase(left);
  return client;
}

void comm_socket_v4_free_client(comm_socket_v4_client* client) {
  delete client;
}
