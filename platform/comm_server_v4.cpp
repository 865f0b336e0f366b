// The server's lifetime: creates the socket file, listens, accepts connections, shuts down.
#include "platform/comm_server_v4.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <new>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include "platform/clock.h"
#include "platform/local_address.h"

namespace {

constexpr std::size_t most_clients = 256;
constexpr int backlog = 128;
// Bounds one round even if clients connect and leave as fast as they are accepted.
constexpr int most_accepts_per_round = backlog;
// Descriptors withheld from clients: enough for the process to start a child (two pipes) and to
// write its files while the socket is crowded.
constexpr std::size_t reserved_descriptors = 8;
// How long the end of the server can be delayed by clients that are still reading.
constexpr std::uint64_t last_delivery_us = 5000000;

unique_fd make_socket() {
  return unique_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// Whether the process at the other end has died, leaving its listening socket to a child that has
// not executed its program yet.
bool is_listener_dead(int connection) {
  ucred listener{};
  socklen_t size = sizeof(listener);
  return getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &listener, &size) == 0 &&
         listener.pid > 0 && kill(listener.pid, 0) != 0 && errno == ESRCH;
}

// A socket file is stale if a connection to it is refused, or if the server that made it is dead. A
// full backlog is not a refusal.
void remove_stale_file(const char* path, const local_address& address) {
  struct stat status {};
  if (lstat(path, &status) != 0 || !S_ISSOCK(status.st_mode)) { return; }
  const unique_fd probe = make_socket();
  if (!probe.valid()) { return; }
  const bool connected = connect(probe.get(), address.get(), sizeof(address.address)) == 0;
  if (connected ? is_listener_dead(probe.get()) : errno == ECONNREFUSED) { unlink(path); }
}

bool is_own_file(const comm_socket_v4& server) {
  struct stat status {};
  return lstat(server.path.c_str(), &status) == 0 && status.st_dev == server.file_device &&
         status.st_ino == server.file_number;
}

bool somebody_waits(int listener) {
  pollfd entry{listener, POLLIN, 0};
  return poll(&entry, 1, 0) > 0;
}

// Whether a new connection would leave the reserve untouched; finds out by opening that many
// descriptors.
bool has_descriptors_to_give(int any_fd) {
  std::array<unique_fd, reserved_descriptors + 1> probes;
  return std::all_of(probes.begin(), probes.end(), [any_fd](unique_fd& probe) {
    probe.reset(fcntl(any_fd, F_DUPFD_CLOEXEC, 0));
    return probe.valid();
  });
}

enum class accept_result { go_on, none_waiting, no_descriptors, broken };

accept_result why_not_accepted(int error) {
  switch (error) {
  case EAGAIN:
    return accept_result::none_waiting;
  case EINTR:
  case ECONNABORTED:
    return accept_result::go_on;
  case EMFILE:
  case ENFILE:
  case ENOBUFS:
  case ENOMEM:
    return accept_result::no_descriptors;
  default:
    return accept_result::broken;
  }
}

// A client beyond the maximum is closed when its descriptor goes out of scope.
accept_result accept_one(comm_socket_v4& server) {
  if (!somebody_waits(server.listener.get())) { return accept_result::none_waiting; }
  if (!has_descriptors_to_give(server.listener.get())) { return accept_result::no_descriptors; }
  unique_fd fd(accept4(server.listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!fd.valid()) { return why_not_accepted(errno); }
  const auto open_clients = std::count_if(server.clients.begin(), server.clients.end(),
                                          [](const auto& client) { return client.is_open(); });
  if (static_cast<std::size_t>(open_clients) < most_clients) {
    comm_socket_v4_client& client = server.clients.emplace_back(&server, -1);
    client.connection = std::move(fd);
    server.may_have_new = true;
    client.read_round(monotonic_clock_us());
    client.close_when_done();
  }
  return accept_result::go_on;
}

// Returns false if the listening socket is broken.
bool accept_round(comm_socket_v4& server) {
  server.can_accept = true;
  for (int i = 0; i < most_accepts_per_round; ++i) {
    const accept_result result = accept_one(server);
    if (result == accept_result::go_on) { continue; }
    server.can_accept = result != accept_result::no_descriptors;
    return result != accept_result::broken;
  }
  return true;
}

}  // namespace

comm_socket_v4* comm_socket_v4_create() {
  return new (std::nothrow) comm_socket_v4;
}

comm_socket_v4* comm_socket_v4_destroy(comm_socket_v4* server) {
  if (server == nullptr) { return nullptr; }
  if (server->listener.valid() && is_own_file(*server)) { unlink(server->path.c_str()); }
  server->listener.reset();
  comm_socket_v4_deliver(server, monotonic_clock_us() + last_delivery_us);
  delete server;
  return nullptr;
}

int comm_socket_v4_create_server(comm_socket_v4* server, const char* path) {
  local_address address;
  if (!address.set(path)) { return -1; }
  remove_stale_file(path, address);
  unique_fd listener = make_socket();
  struct stat status {};
  if (!listener.valid() || bind(listener.get(), address.get(), sizeof(address.address)) != 0 ||
      lstat(path, &status) != 0 || listen(listener.get(), backlog) != 0) {
    return -1;
  }
  server->listener = std::move(listener);
  server->path = path;
  server->file_device = status.st_dev;
  server->file_number = status.st_ino;
  return 0;
}

int comm_socket_v4_fd(const comm_socket_v4* server) {
  return server == nullptr ? -1 : server->listener.get();
}

int comm_socket_v4_idle(comm_socket_v4* server) {
  if (!server->listener.valid()) { return -1; }
  const std::uint64_t now_us = monotonic_clock_us();
  // The wait for clients has usually just polled them.
  if (!std::exchange(server->is_polled, false)) { server->poll_clients(0); }
  // Known clients first: this finds those that have gone and so makes room for new ones.
  for (comm_socket_v4_client& client : server->clients) {
    client.send_round();
    client.read_round(now_us);
    client.close_when_done();
  }
  return !server->may_have_connections || accept_round(*server) ? 0 : -1;
}
