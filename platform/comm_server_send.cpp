// Sending replies, and the two operations of the server that wait.
#include <cassert>
#include <cerrno>
#include <vector>

#include <sys/socket.h>

#include "platform/clock.h"
#include "platform/comm_server_v4.h"
#include "platform/poll_until.h"

namespace {

// A client that takes nothing for this long is given up, so that it holds the server once only.
constexpr std::uint64_t patience_us = 5000000;
// One that takes a little now and then is given up after this long for one reply.
constexpr std::uint64_t longest_sending_us = 10000000;

bool encode_reply(comm_socket_v4_packet& packet) {
  return !packet.wire.empty() || comm_packet_v4_encode(packet, comm_packet_v4_reply, packet.wire);
}

// Whether the client, which takes nothing now, has done so for too long.
bool is_out_of_patience(comm_socket_v4_client& client) {
  const std::uint64_t now = monotonic_clock_us();
  if (client.stalled_since_us == 0) { client.stalled_since_us = now; }
  return now - client.stalled_since_us >= patience_us ||
         now - client.sending_since_us >= longest_sending_us;
}

// Positive when all is sent, 0 when the client takes no more now, negative on an error.
int push(comm_socket_v4_client& client, comm_socket_v4_packet& packet) {
  while (packet.wire_sent < packet.wire.size()) {
    const ssize_t sent = send(client.connection.get(), packet.wire.data() + packet.wire_sent,
                              packet.wire.size() - packet.wire_sent, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) { continue; }
    if (sent < 0) { return errno == EAGAIN ? 0 : -1; }
    packet.wire_sent += static_cast<std::size_t>(sent);
    client.stalled_since_us = 0;
  }
  return 1;
}

}  // namespace

int comm_socket_v4_packet_send_to_client(comm_socket_v4_client* client,
                                         comm_socket_v4_packet* packet) {
  assert(packet->written == comm_socket_v4_packet::stage::complete);
  if (!client->takes_replies) { return -1; }
  assert(client->sending == nullptr || client->sending == packet);
  if (!encode_reply(*packet)) {
    client->close();
    return -1;
  }
  if (client->sending == nullptr) { client->sending_since_us = monotonic_clock_us(); }
  const int sent = push(*client, *packet);
  client->sending = sent == 0 ? packet : nullptr;
  if (sent == 0) { client->server->pass_is_over = true; }
  if (sent < 0) {
    client->takes_replies = false;  // what it sent whole before it went is still carried out
  } else if (sent == 0 && is_out_of_patience(*client)) {
    client->close();
    return -1;
  }
  return sent;
}

int comm_socket_v4_wait_for_server_to_client_writeable(comm_socket_v4_client* client,
                                                       std::uint64_t deadline_us) {
  if (!client->takes_replies) { return 1; }
  pollfd entry{client->connection.get(), POLLOUT, 0};
  return poll_until(&entry, 1, deadline_us);
}

// A client whose input has ended is left out: its end would be readable for good.
int comm_socket_v4_server_from_client_readable(comm_socket_v4* server, std::uint64_t deadline_us) {
  if (!server->listener.valid()) { return -1; }
  std::vector<pollfd> entries;
  if (server->can_accept) { entries.push_back({server->listener.get(), POLLIN, 0}); }
  for (const comm_socket_v4_client& client : server->clients) {
    if (client.has_request()) { return 1; }
    if (client.is_open() && !client.input_ended) {
      entries.push_back({client.connection.get(), POLLIN, 0});
    }
  }
  return poll_until(entries.data(), entries.size(), deadline_us);
}
