// The client side of the control socket: one request, its reply, with a deadline. The connection is
// made when it is first needed and kept for the next request.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/comm_packet_v4.h"
#include "platform/unique_fd.h"

enum class comm_client_result {
  ok,
  no_service,  // no socket file, nobody listening on it, or no right to connect
  timeout,     // the deadline passed: the request may or may not have been carried out
  gone,        // the connection ended before the reply was whole: carried out or not, as above
  malformed,   // the request cannot be sent (it was not), or the answer is not one to it
};

class comm_client_v4 {
public:
  // Does not connect yet. `path` is the socket file.
  explicit comm_client_v4(std::string_view path) : path_(path) {}

  // Sends the request and waits for its reply until `deadline_us` of monotonic_clock_us(). The
  // caller chooses the request id. A request without the want-reply flag is done when it is sent,
  // and `reply` is then blank, as it is on every failure. After any failure the next request
  // connects anew; so does one that finds the kept connection closed by a server that restarted.
  // A busy server (its backlog is full) is tried again until the deadline.
  comm_client_result request(const comm_socket_v4_packet& request, comm_socket_v4_packet& reply,
                             std::uint64_t deadline_us);

private:
  bool kept_connection_is_good() const;
  comm_client_result connect(std::uint64_t deadline_us);
  comm_client_result send(std::string_view wire, std::uint64_t deadline_us);
  comm_client_result receive(std::string& wire, std::uint64_t deadline_us);
  comm_client_result exchange(const comm_socket_v4_packet& request, comm_socket_v4_packet& reply,
                              std::uint64_t deadline_us);

  std::string path_;
  unique_fd fd_;
};
