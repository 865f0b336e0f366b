// Sends replies; also the two server functions that wait.
#include <algorithm>
#include <cassert>
#include <cerrno>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/comm_server_v4.h"
#include "platform/poll_until.h"

namespace {

// A client that has replies to read but reads nothing for this long is dropped.
constexpr std::uint64_t patience_us = 5000000;
// The same while the server only delivers, because the end of the service waits for that.
constexpr std::uint64_t last_patience_us = 2000000;
// Between two attempts to deliver. A poll would report a client only once it has read most of what
// the kernel holds for it.
constexpr useconds_t delivery_pause_us = 2000;
// Replies to requests that arrived together are sent together, in one call: up to this size, in
// bytes, and within this time, so that none of them waits for several long requests.
constexpr std::size_t most_held = 16384;
constexpr std::uint64_t hold_time_us = 1000;
// Output buffer limit for one client, in bytes: a buffer that contains only replies that are held
// back has room for the largest reply, even if the kernel takes none of them.
constexpr std::size_t most_output =
    most_held + comm_packet_v4_header_size + comm_packet_v4_reply.largest_body;
constexpr std::size_t most_output_of_all = std::size_t{64} << 20;
// A client that was answered often asks again at once. To look for that for this long takes no more
// processor time than to sleep and be woken, and saves the client the wait. With many clients a
// single look takes longer than that.
constexpr std::uint64_t linger_us = 10;
constexpr int most_looks = 32;
constexpr std::size_t most_lingered_for = 32;

// Whether the kernel may take the bytes later. A lack of memory often passes, and a client that is
// waiting for a reply must not lose it meanwhile.
bool is_passing(int error) {
  return error == EAGAIN || error == ENOBUFS || error == ENOMEM;
}

// What to poll a client for; 0 for nothing. A client whose input has ended is left out: its end of
// file would always be readable.
short events_of(const comm_socket_v4_client& client) {
  if (client.has_output()) { return POLLOUT; }
  return client.is_open() && !client.input_ended ? POLLIN : 0;
}

}  // namespace

void comm_socket_v4_client::send_round() {
  const std::size_t sent_before = sent;
  while (has_output()) {
    const ssize_t taken_now = send(connection.get(), output.data() + sent, output.size() - sent,
                                   MSG_DONTWAIT | MSG_NOSIGNAL);
    if (taken_now < 0 && errno == EINTR) { continue; }
    if (taken_now < 0 && is_passing(errno)) {
      wait_for_reading(sent > sent_before);
      return;
    }
    if (taken_now < 0) {
      takes_replies = false;  // requests received whole before that are still carried out
      drop_output();
      return;
    }
    sent += static_cast<std::size_t>(taken_now);
    if (sent == output.size()) { drop_output(); }
  }
}

void comm_socket_v4_client::wait_for_reading(bool has_read_some) {
  const std::uint64_t now_us = monotonic_clock_us();
  if (!is_blocked || has_read_some) { output_stalled_us = now_us; }
  is_blocked = true;
  if (now_us - output_stalled_us >= patience_us) { close(); }
}

bool comm_socket_v4_client::has_room(std::size_t size) const {
  return output.size() - sent + size <= most_output;
}

void comm_socket_v4_client::add_output(const comm_socket_v4_packet& packet, std::size_t size) {
  output.erase(0, std::exchange(sent, 0));
  comm_packet_v4_append(packet, size, output);
}

bool comm_socket_v4_client::may_hold_output() const {
  return has_request() && output.size() < most_held;
}

void comm_socket_v4_client::send_held() {
  if (!has_output() || is_blocked) { return; }
  send_round();
  if (has_output()) { server->limit_output(); }
}

bool comm_socket_v4::send_round() {
  held_since_us = 0;
  bool are_left = false;
  for (comm_socket_v4_client& client : clients) {
    client.send_round();
    are_left = are_left || client.has_output();
  }
  return are_left;
}

void comm_socket_v4::close_stalled(std::uint64_t since_us) {
  const std::uint64_t now_us = monotonic_clock_us();
  for (comm_socket_v4_client& client : clients) {
    const std::uint64_t begin_us = std::max(client.output_stalled_us, since_us);
    if (client.is_blocked && now_us - begin_us >= last_patience_us) { client.close(); }
  }
}

void comm_socket_v4_deliver(comm_socket_v4* server, std::uint64_t deadline_us) {
  const std::uint64_t begin_us = monotonic_clock_us();
  while (server != nullptr && server->send_round() && monotonic_clock_us() < deadline_us) {
    server->close_stalled(begin_us);
    usleep(delivery_pause_us);
  }
}

void comm_socket_v4::note_held() {
  if (held_since_us == 0) { held_since_us = monotonic_clock_us(); }
}

void comm_socket_v4::send_all_held() {
  for (comm_socket_v4_client& client : clients) {
    client.send_held();
  }
  held_since_us = 0;
}

void comm_socket_v4::send_overdue() {
  if (held_since_us != 0 && monotonic_clock_us() - held_since_us >= hold_time_us) {
    send_all_held();
  }
}

void comm_socket_v4::limit_output() {
  std::size_t waiting = 0;
  for (const comm_socket_v4_client& client : clients) {
    waiting += client.output.size();
  }
  while (waiting > most_output_of_all) {
    comm_socket_v4_client* const slowest = slowest_reader();
    if (slowest == nullptr) { return; }
    waiting -= slowest->output.size();
    slowest->close();
  }
}

comm_socket_v4_client* comm_socket_v4::slowest_reader() {
  comm_socket_v4_client* slowest = nullptr;
  for (comm_socket_v4_client& client : clients) {
    if (client.is_blocked &&
        (slowest == nullptr || client.output_stalled_us < slowest->output_stalled_us)) {
      slowest = &client;
    }
  }
  return slowest;
}

int comm_socket_v4_packet_send_to_client(comm_socket_v4_client* client,
                                         comm_socket_v4_packet* packet) {
  assert(packet->written == comm_socket_v4_packet::stage::complete);
  if (!client->takes_replies) { return -1; }
  const std::size_t size = comm_packet_v4_size(*packet, comm_packet_v4_reply);
  if (size == 0) {
    comm_socket_v4_drop_client(client);
    return -1;
  }
  if (client->is_blocked || !client->has_room(size)) { client->send_round(); }
  if (!client->takes_replies) { return -1; }
  if (!client->has_room(size)) { return 0; }
  client->add_output(*packet, size);
  if (client->may_hold_output()) {
    client->server->note_held();
    return 1;
  }
  if (!client->is_blocked) { client->send_round(); }
  if (client->has_output()) { client->server->limit_output(); }
  return client->takes_replies ? 1 : -1;
}

bool comm_socket_v4_client_takes_replies(const comm_socket_v4_client* client) {
  return client->takes_replies;
}

int comm_socket_v4_wait_for_server_to_client_writeable(comm_socket_v4_client* client,
                                                       std::uint64_t deadline_us) {
  if (!client->takes_replies) { return 1; }
  pollfd entry{client->connection.get(), POLLOUT, 0};
  return poll_until(&entry, 1, deadline_us);
}

int comm_socket_v4::poll_clients(std::uint64_t deadline_us) {
  // A negative descriptor is not looked at.
  polled.clear();
  polled.push_back({can_accept ? listener.get() : -1, POLLIN, 0});
  for (const comm_socket_v4_client& client : clients) {
    const short events = events_of(client);
    polled.push_back({events == 0 ? -1 : client.connection.get(), events, 0});
  }
  const int ready = poll_until(polled.data(), polled.size(), deadline_us);
  const bool is_unknown = ready < 0;
  may_have_connections = is_unknown || !can_accept || polled.front().revents != 0;
  auto entry = polled.begin();
  for (comm_socket_v4_client& client : clients) {
    client.is_ready = (++entry)->revents != 0 || is_unknown;
  }
  return ready;
}

int comm_socket_v4::linger(std::uint64_t deadline_us) {
  if (clients.size() > most_lingered_for) { return 0; }
  int ready = 0;
  std::uint64_t now_us = monotonic_clock_us();
  const std::uint64_t end_us = std::min(deadline_us, now_us + linger_us);
  for (int look = 0; ready == 0 && look < most_looks && now_us < end_us; ++look) {
    ready = poll_clients(0);
    now_us = monotonic_clock_us();
  }
  return ready;
}

int comm_socket_v4_server_from_client_readable(comm_socket_v4* server, std::uint64_t deadline_us) {
  if (!server->listener.valid()) { return -1; }
  const auto& clients = server->clients;
  if (std::any_of(clients.begin(), clients.end(),
                  [](const auto& client) { return client.has_request(); })) {
    return 1;
  }
  int ready = 0;
  if (std::exchange(server->has_handed_out, false)) { ready = server->linger(deadline_us); }
  if (ready == 0) { ready = server->poll_clients(deadline_us); }
  server->is_polled = ready > 0;
  return ready;
}
