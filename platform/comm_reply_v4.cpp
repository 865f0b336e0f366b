// Replies: written, and sent as far as the client takes them.
#include <cerrno>
#include <new>

#include <sys/socket.h>

#include "platform/clock.h"
#include "platform/comm_server_v4.h"
#include "platform/poll_until.h"

namespace {

// A client that takes not one byte for this long is gone.
constexpr std::uint64_t stall_limit_us = 5000000;

int give_up(comm_socket_v4_client& client) {
  client.fd.reset();
  return -1;
}

bool begin_sending(comm_socket_v4_client& client, comm_socket_v4_packet& packet) {
  if (!packet.wire.empty()) {
    return true;
  }
  packet.wire_sent = 0;
  client.last_progress_us = monotonic_clock_us();
  return comm_packet_v4_encode(packet, comm_packet_v4_reply, packet.wire);
}

}  // namespace

comm_socket_v4_packet* comm_socket_v4_packet_create() {
  return new (std::nothrow) comm_socket_v4_packet;
}

void comm_socket_v4_packet_release(comm_socket_v4_packet* packet) {
  delete packet;
}

void comm_socket_v4_packet_begin_writing(comm_socket_v4_packet* packet, int, const char* command,
                                         const char* status) {
  packet->words = {command, status};
  packet->nv_pairs.clear();
  packet->data.clear();
  packet->wire.clear();
  packet->written = comm_socket_v4_packet::stage::words;
}

void comm_socket_v4_packet_write_argv_end(comm_socket_v4_packet* packet) {
  packet->written = comm_socket_v4_packet::stage::body;
}

void comm_socket_v4_packet_write_nv_pair(comm_socket_v4_packet* packet, const char* name,
                                         const char* value) {
  packet->nv_pairs.emplace_back(name, value);
}

void comm_socket_v4_packet_write_data_binary(comm_socket_v4_packet* packet, const void* bytes,
                                             std::size_t length) {
  packet->data.append(static_cast<const char*>(bytes), length);
}

void comm_socket_v4_packet_write_end(comm_socket_v4_packet* packet) {
  packet->written = comm_socket_v4_packet::stage::complete;
}

void qxmi_default_unknown_command_error_response(const comm_socket_v4_packet* request,
                                                 comm_socket_v4_packet* reply, int) {
  reply->result_code = comm_socket_v4_result_refused;
  comm_socket_v4_packet_begin_writing(
      reply, 0, request->words.empty() ? "" : request->words.front().c_str(), "UNKNOWN COMMAND");
  comm_socket_v4_packet_write_argv_end(reply);
  comm_socket_v4_packet_write_end(reply);
}

int comm_socket_v4_packet_send_to_client(comm_socket_v4_client* client,
                                         comm_socket_v4_packet* packet) {
  if (!client->fd.valid() || !begin_sending(*client, *packet)) {
    return give_up(*client);
  }
  while (packet->wire_sent < packet->wire.size()) {
    ssize_t const put = send(client->fd.get(), packet->wire.data() + packet->wire_sent,
                             packet->wire.size() - packet->wire_sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (put > 0) {
      packet->wire_sent += static_cast<std::size_t>(put);
      client->last_progress_us = monotonic_clock_us();
    } else if (put < 0 && errno == EAGAIN) {
      bool const stalled = monotonic_clock_us() - client->last_progress_us >= stall_limit_us;
      return stalled ? give_up(*client) : 0;
    } else if (put < 0 && errno != EINTR) {
      return give_up(*client);
    }
  }
  return 1;
}

int comm_socket_v4_wait_for_server_to_client_writeable(comm_socket_v4_client* client,
                                                       std::uint64_t deadline_us) {
  pollfd descriptor{client->fd.get(), POLLOUT, 0};
  return poll_until(&descriptor, 1, deadline_us) > 0 ? 1 : 0;
}
