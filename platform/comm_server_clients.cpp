// One client's input and end; handing clients and requests out, each in its turn.
#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/socket.h>

#include "platform/comm_server_v4.h"

namespace {

constexpr std::size_t round_share = std::size_t{64} << 10;  // bytes

bool is_passing(int error) {
  return error == EAGAIN || error == EINTR || error == ENOBUFS || error == ENOMEM;
}

// The first client for which `condition` holds, or null.
template <typename Condition>
comm_socket_v4_client* find_client(comm_socket_v4& server, Condition condition) {
  const auto found = std::find_if(server.clients.begin(), server.clients.end(), condition);
  return found == server.clients.end() ? nullptr : &*found;
}

}  // namespace

bool comm_socket_v4_client::has_request() const {
  return comm_packet_v4_look(unread_input(), comm_packet_v4_request).state ==
         comm_packet_v4_state::whole;
}

// A client with a request in hand is not read from, so what is kept of it stays below one packet
// and one round's share, however slowly requests are taken.
void comm_socket_v4_client::read_round() {
  if (!is_open() || input_ended || has_request()) { return; }
  char bytes[round_share];
  const ssize_t got = recv(connection.get(), bytes, sizeof(bytes), MSG_DONTWAIT);
  if (got < 0 && is_passing(errno)) { return; }
  if (got <= 0) {
    end_input();
    return;
  }
  input.erase(0, std::exchange(taken, 0));
  input.append(bytes, static_cast<std::size_t>(got));
  if (comm_packet_v4_look(input, comm_packet_v4_request).state == comm_packet_v4_state::malformed) {
    end_input();
  }
}

std::unique_ptr<comm_socket_v4_packet> comm_socket_v4_client::take_request() {
  const std::string_view unread = unread_input();
  const comm_packet_v4_front front = comm_packet_v4_look(unread, comm_packet_v4_request);
  if (front.state == comm_packet_v4_state::incomplete) { return nullptr; }
  std::unique_ptr<comm_socket_v4_packet> request(comm_socket_v4_packet_create());
  if (request == nullptr) { return nullptr; }
  if (front.state == comm_packet_v4_state::malformed ||
      !comm_packet_v4_decode(unread.substr(0, front.size), comm_packet_v4_request, *request)) {
    end_input();
    return nullptr;
  }
  taken += front.size;
  if (taken == input.size()) { drop_input(); }
  request->claim = claim;
  return request;
}

void comm_socket_v4_client::end_input() {
  input_ended = true;
  drop_input();
}

void comm_socket_v4_client::drop_input() {
  std::string().swap(input);
  taken = 0;
}

void comm_socket_v4_client::close_when_done() {
  if (input_ended && !has_request() && !has_claims() && sending == nullptr) { close(); }
}

void comm_socket_v4_client::close() {
  end_input();
  connection.reset();
  takes_replies = false;
  sending = nullptr;
}

comm_socket_v4_client* comm_socket_v4_accept_connection(comm_socket_v4* server) {
  auto* const client = find_client(*server, [](const auto& each) { return !each.announced; });
  if (client != nullptr) { client->announced = true; }
  return client;
}

comm_socket_v4_client* comm_socket_v4_get_disconnected_client(comm_socket_v4* server) {
  auto* const client = find_client(*server, [](auto& each) {
    each.close_when_done();
    return each.announced && !each.reported && !each.is_open();
  });
  if (client != nullptr) { client->reported = true; }
  return client;
}

void comm_socket_v4_free_client(comm_socket_v4_client* client) {
  if (client == nullptr) { return; }
  client->server->clients.remove_if([client](const auto& each) { return &each == client; });
}

comm_socket_v4_packet* comm_socket_v4_server_get_packet(comm_socket_v4* server,
                                                        comm_socket_v4_client** client) {
  if (server->pass_is_over) { return nullptr; }
  auto& clients = server->clients;
  for (auto turn = clients.begin(); turn != clients.end(); ++turn) {
    if (!turn->announced) { continue; }
    if (auto request = turn->take_request()) {
      *client = &*turn;
      clients.splice(clients.end(), clients, turn);
      return request.release();
    }
    turn->close_when_done();
  }
  return nullptr;
}
