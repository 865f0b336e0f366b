// The server of the control socket: requests out of what clients sent, and waiting for more.
#include <memory>
#include <vector>

#include "platform/clock.h"
#include "platform/comm_server_v4.h"
#include "platform/poll_until.h"

namespace {

// The client's next request, null when it has none. What is no packet ends the connection.
std::unique_ptr<comm_socket_v4_packet> take_request(comm_socket_v4_client& client) {
  if (!client.fd.valid()) {
    return nullptr;
  }
  comm_packet_v4_front const front = comm_packet_v4_look(client.pending(), comm_packet_v4_request);
  if (front.state == comm_packet_v4_state::incomplete) {
    return nullptr;
  }
  auto packet = std::make_unique<comm_socket_v4_packet>();
  if (front.state == comm_packet_v4_state::malformed ||
      !comm_packet_v4_decode(client.pending().substr(0, front.size), comm_packet_v4_request,
                             *packet)) {
    client.fd.reset();
    return nullptr;
  }
  client.handed_out += front.size;
  return packet;
}

}  // namespace

bool comm_client_has_something(comm_socket_v4_client const& client) {
  return comm_packet_v4_look(client.pending(), comm_packet_v4_request).state !=
         comm_packet_v4_state::incomplete;
}

comm_socket_v4_packet* comm_socket_v4_server_get_packet(comm_socket_v4* server,
                                                        comm_socket_v4_client** client) {
  for (auto i = server->clients.begin(); i != server->clients.end(); ++i) {
    std::unique_ptr<comm_socket_v4_packet> packet = take_request(**i);
    if (packet) {
      *client = i->get();
      server->clients.splice(server->clients.end(), server->clients, i);
      return packet.release();
    }
  }
  return nullptr;
}

int comm_socket_v4_server_from_client_readable(comm_socket_v4* server, std::uint64_t deadline_us) {
  std::vector<pollfd> descriptors;
  bool const may_accept = monotonic_clock_us() >= server->accept_again_us;
  descriptors.push_back({may_accept ? server->listener.get() : -1, POLLIN, 0});
  for (auto const& client : server->clients) {
    if (client->input_ended || !client->fd.valid() || comm_client_has_something(*client)) {
      return 1;
    }
    descriptors.push_back({client->fd.get(), POLLIN, 0});
  }
  return poll_until(descriptors.data(), descriptors.size(), deadline_us) > 0 ? 1 : 0;
}
