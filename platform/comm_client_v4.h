// The client side of the control socket: sends one request and receives its reply, with a deadline.
// The connection is opened on first use and kept for later requests.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/comm_packet_v4.h"
#include "platform/unique_fd.h"

enum class comm_client_result {
  ok,
  no_service,  // no socket file, nobody listening on it, or connecting not permitted
  timeout,     // deadline passed; the request may or may not have been carried out
  gone,        // connection ended before the reply was complete; carried out or not, as above
  malformed,   // the request is invalid and was not sent, or the reply does not match it
};

class comm_client_v4 {
public:
  // Does not connect yet. `path` is the socket file.
  explicit comm_client_v4(std::string_view path) : path_(path) {}

  // Sends the request and waits for its reply until `deadline_us` on monotonic_clock_us(). The
  // caller chooses the request id. A request without the want-reply flag is complete once it has
  // been sent; `reply` is then blank, as it is on every failure. The next request opens a new
  // connection after any failure, and also if a restarted server has closed the kept one. If the
  // server is busy (its backlog is full), connecting is retried until the deadline.
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
