// Requests and replies over a local stream socket. Every wait is bounded by the deadline.
#include "platform/comm_client_v4.h"

#include <algorithm>
#include <cerrno>

#include "platform/clock.h"
#include "platform/local_address.h"
#include "platform/poll_until.h"

namespace {

// When the backlog is full, nothing signals that there is room again, so connecting is retried
// after this pause.
constexpr std::uint64_t busy_pause_us = 10000;

bool is_past(std::uint64_t deadline_us) {
  return monotonic_clock_us() >= deadline_us;
}

// Returns whether the failed call may be retried, after waiting until `fd` is ready. With a
// negative `fd` it just pauses.
bool may_retry(int error, int fd, short events, std::uint64_t deadline_us) {
  if (error == EINTR) { return true; }
  if (error != EAGAIN) { return false; }
  pollfd entry{fd, events, 0};
  return poll_until(&entry, 1, deadline_us) >= 0;
}

}  // namespace

// Nothing should arrive between two requests. If anything does, even end of file, the connection
// cannot be used again.
bool comm_client_v4::kept_connection_is_good() const {
  char byte = 0;
  return fd_.valid() && recv(fd_.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && errno == EAGAIN;
}

comm_client_result comm_client_v4::connect(std::uint64_t deadline_us) {
  local_address address;
  if (!address.set(path_)) { return comm_client_result::no_service; }
  fd_.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!fd_.valid()) { return comm_client_result::no_service; }
  while (::connect(fd_.get(), address.get(), sizeof(address.address)) != 0) {
    const std::uint64_t pause_end = std::min(deadline_us, monotonic_clock_us() + busy_pause_us);
    if (!may_retry(errno, -1, 0, pause_end)) { return comm_client_result::no_service; }
    if (is_past(deadline_us)) { return comm_client_result::timeout; }
  }
  return comm_client_result::ok;
}

comm_client_result comm_client_v4::send(std::string_view wire, std::uint64_t deadline_us) {
  while (!wire.empty()) {
    if (is_past(deadline_us)) { return comm_client_result::timeout; }
    const ssize_t sent = ::send(fd_.get(), wire.data(), wire.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0) {
      wire.remove_prefix(static_cast<std::size_t>(sent));
    } else if (!may_retry(errno, fd_.get(), POLLOUT, deadline_us)) {
      return comm_client_result::gone;
    }
  }
  return comm_client_result::ok;
}

comm_client_result comm_client_v4::receive(std::string& wire, std::uint64_t deadline_us) {
  char bytes[16384];
  wire.clear();
  while (true) {
    const comm_packet_v4_front front = comm_packet_v4_look(wire, comm_packet_v4_reply);
    if (front.state == comm_packet_v4_state::malformed) { return comm_client_result::malformed; }
    if (front.state == comm_packet_v4_state::whole) { return comm_client_result::ok; }
    if (is_past(deadline_us)) { return comm_client_result::timeout; }
    const ssize_t got = recv(fd_.get(), bytes, sizeof(bytes), MSG_DONTWAIT);
    if (got > 0) {
      wire.append(bytes, static_cast<std::size_t>(got));
    } else if (got == 0 || !may_retry(errno, fd_.get(), POLLIN, deadline_us)) {
      return comm_client_result::gone;
    }
  }
}

comm_client_result comm_client_v4::exchange(const comm_socket_v4_packet& request,
                                            comm_socket_v4_packet& reply,
                                            std::uint64_t deadline_us) {
  std::string wire;
  if (!comm_packet_v4_encode(request, comm_packet_v4_request, wire)) {
    return comm_client_result::malformed;
  }
  comm_client_result result = comm_client_result::ok;
  if (!kept_connection_is_good()) { result = connect(deadline_us); }
  if (result == comm_client_result::ok) { result = send(wire, deadline_us); }
  if (result != comm_client_result::ok) { return result; }
  if ((request.flags & comm_socket_v4_flag_want_reply) == 0) { return comm_client_result::ok; }
  result = receive(wire, deadline_us);
  if (result != comm_client_result::ok) { return result; }
  return comm_packet_v4_decode(wire, comm_packet_v4_reply, reply) &&
                 reply.request_id == request.request_id
             ? comm_client_result::ok
             : comm_client_result::malformed;
}

comm_client_result comm_client_v4::request(const comm_socket_v4_packet& request,
                                           comm_socket_v4_packet& reply,
                                           std::uint64_t deadline_us) {
  reply = {};
  const comm_client_result result = exchange(request, reply, deadline_us);
  if (result != comm_client_result::ok) {
    reply = {};
    fd_.reset();  // so that a late reply cannot be taken for a later request's
  }
  return result;
}
