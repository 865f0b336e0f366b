// A client's input and its end, and handing out clients and requests in turn.
#include <algorithm>
#include <cerrno>
#include <utility>

#include <sys/socket.h>

#include "platform/comm_server_v4.h"
#include "platform/out_of_memory.h"

namespace {

constexpr std::size_t round_share = std::size_t{64} << 10;  // bytes
constexpr std::size_t most_input = std::size_t{32} << 20;   // bytes, for all clients together
// An empty buffer of this size, in bytes, is kept for the next packets. A large one is not kept for
// the client's lifetime.
constexpr std::size_t most_kept = 4096;
// A request must arrive completely within this time of its first bytes.
constexpr std::uint64_t request_time_us = 30000000;

bool is_passing(int error) {
  return error == EAGAIN || error == EINTR || error == ENOBUFS || error == ENOMEM;
}

void empty_buffer(std::string& buffer) {
  if (buffer.capacity() > most_kept) {
    std::string().swap(buffer);
  } else {
    buffer.clear();
  }
}

// The first client for which `condition` holds, or null.
template <typename Condition>
comm_socket_v4_client* find_client(comm_socket_v4& server, Condition condition) {
  const auto found = std::find_if(server.clients.begin(), server.clients.end(), condition);
  return found == server.clients.end() ? nullptr : &*found;
}

}  // namespace

// A client with a whole request pending is not read from, so its input stays below one packet plus
// one round's share, however slowly requests are handed out. Nor is a client with unsent replies:
// it could fill its output buffer faster than it empties it.
void comm_socket_v4_client::read_round(std::uint64_t now_us) {
  if (!is_open() || input_ended || has_output() || request_size > 0) { return; }
  if (is_ready) { receive(); }
  time_request(now_us);
}

void comm_socket_v4_client::receive() {
  char bytes[round_share];
  const ssize_t got = recv(connection.get(), bytes, sizeof(bytes), MSG_DONTWAIT);
  if (got == 0 || (got < 0 && !is_passing(errno))) {
    end_input();
  } else if (got > 0) {
    take_input({bytes, static_cast<std::size_t>(got)});
  }
}

void comm_socket_v4_client::take_input(std::string_view bytes) {
  input.erase(0, std::exchange(taken, 0));
  const std::size_t memory = input.capacity();
  if (!with_memory("a request was not read", [&] { input.append(bytes); })) {
    end_input();  // what was received is lost, and everything after it would be misread
    return;
  }
  find_request();
  if (input.capacity() > memory) { server->limit_input(); }
}

void comm_socket_v4_client::find_request() {
  const comm_packet_v4_front front = comm_packet_v4_look(unread_input(), comm_packet_v4_request);
  request_size = front.state == comm_packet_v4_state::whole ? front.size : 0;
  if (request_size > 0) { request_begun_us = 0; }
  if (front.state == comm_packet_v4_state::malformed) { end_input(); }
}

void comm_socket_v4_client::time_request(std::uint64_t now_us) {
  const bool is_unfinished = !unread_input().empty() && request_size == 0;
  if (!is_unfinished) {
    request_begun_us = 0;
  } else if (request_begun_us == 0) {
    request_begun_us = now_us;
  } else if (now_us - request_begun_us >= request_time_us) {
    end_input();
  }
}

void comm_socket_v4::limit_input() {
  std::size_t memory = 0;
  for (const comm_socket_v4_client& client : clients) {
    memory += client.input.capacity();
  }
  while (memory > most_input) {
    comm_socket_v4_client* const slowest = slowest_writer();
    if (slowest == nullptr) { return; }
    memory -= slowest->input.capacity();
    slowest->end_input();
    memory += slowest->input.capacity();
  }
}

comm_socket_v4_client* comm_socket_v4::slowest_writer() {
  comm_socket_v4_client* slowest = nullptr;
  for (comm_socket_v4_client& client : clients) {
    if (client.request_begun_us != 0 &&
        (slowest == nullptr || client.request_begun_us < slowest->request_begun_us)) {
      slowest = &client;
    }
  }
  return slowest;
}

std::unique_ptr<comm_socket_v4_packet> comm_socket_v4_client::take_request() {
  if (request_size == 0) { return nullptr; }
  std::unique_ptr<comm_socket_v4_packet> request(comm_socket_v4_packet_create());
  if (request == nullptr) {
    tell_out_of_memory("a request was not read");
    end_input();  // kept, it would end every wait for clients at once
    return nullptr;
  }
  const std::string_view bytes = unread_input().substr(0, request_size);
  if (!comm_packet_v4_read(bytes, comm_packet_v4_request, *request)) {
    end_input();
    return nullptr;
  }
  taken += request_size;
  if (taken == input.size()) {
    drop_input();
  } else {
    give_memory_back();
    find_request();
  }
  request->claim = claim;
  return request;
}

// What follows a request came with its last bytes, in the same round. It may stay long: while
// replies wait, nothing is handed out.
void comm_socket_v4_client::give_memory_back() {
  if (input.capacity() <= round_share) { return; }
  input.erase(0, std::exchange(taken, 0));
  input.shrink_to_fit();
}

void comm_socket_v4_client::end_input() {
  input_ended = true;
  server->may_have_ended = true;
  drop_input();
}

void comm_socket_v4_client::drop_input() {
  empty_buffer(input);
  taken = 0;
  request_size = 0;
  request_begun_us = 0;
}

void comm_socket_v4_client::drop_output() {
  empty_buffer(output);
  sent = 0;
  is_blocked = false;
  output_stalled_us = 0;
}

void comm_socket_v4_client::close_when_done() {
  if (input_ended && !has_claims() && !has_output()) { close(); }
}

void comm_socket_v4_client::close() {
  end_input();
  drop_output();
  connection.reset();
  takes_replies = false;
}

comm_socket_v4_client* comm_socket_v4_accept_connection(comm_socket_v4* server) {
  if (!server->may_have_new) { return nullptr; }
  auto* const client = find_client(*server, [](const auto& each) { return !each.announced; });
  if (client != nullptr) { client->announced = true; }
  server->may_have_new = client != nullptr;
  return client;
}

comm_socket_v4_client* comm_socket_v4_get_disconnected_client(comm_socket_v4* server) {
  if (!server->may_have_ended) { return nullptr; }
  bool are_more_to_come = false;
  auto* const client = find_client(*server, [&](auto& each) {
    each.close_when_done();
    are_more_to_come = are_more_to_come || (each.input_ended && !each.reported);
    return each.announced && !each.reported && !each.is_open();
  });
  if (client != nullptr) { client->reported = true; }
  server->may_have_ended = are_more_to_come;
  return client;
}

void comm_socket_v4_drop_client(comm_socket_v4_client* client) {
  client->send_held();
  client->close();
}

void comm_socket_v4_free_client(comm_socket_v4_client* client) {
  if (client == nullptr) { return; }
  client->server->clients.remove_if([client](const auto& each) { return &each == client; });
}

comm_socket_v4_packet* comm_socket_v4_server_get_packet(comm_socket_v4* server,
                                                        comm_socket_v4_client** client) {
  server->send_overdue();
  auto& clients = server->clients;
  for (std::size_t left = clients.size(); left > 0; --left) {
    const auto turn = clients.begin();
    clients.splice(clients.end(), clients, turn);
    if (!turn->announced || turn->is_blocked) { continue; }
    std::unique_ptr<comm_socket_v4_packet> request;
    if (!with_memory("a request was not read", [&] { request = turn->take_request(); })) {
      turn->end_input();  // nothing could be done with it in the next round either
    }
    if (request != nullptr) {
      *client = &*turn;
      server->has_handed_out = true;
      return request.release();
    }
    turn->send_held();
    turn->close_when_done();
  }
  server->held_since_us = 0;
  return nullptr;
}
