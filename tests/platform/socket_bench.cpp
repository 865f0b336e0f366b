// Server and clients in one thread.
#include "tests/platform/socket_bench.h"

#include <algorithm>
#include <cerrno>

#include <sys/socket.h>

#include <gtest/gtest.h>

#include "platform/local_address.h"

namespace qx_test {

std::string request_bytes(const std::string& command, std::uint64_t id, const std::string& data,
                          std::uint32_t flags) {
  comm_socket_v4_packet packet;
  packet.flags = flags;
  packet.request_id = id;
  packet.words = {command};
  packet.data = data;
  std::string wire;
  EXPECT_TRUE(comm_packet_v4_encode(packet, comm_packet_v4_request, wire));
  return wire;
}

raw_client::raw_client(const std::string& path)
    : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
  local_address address;
  if (!address.set(path) || connect(fd_.get(), address.get(), sizeof(address.address)) != 0) {
    fd_.reset();
  }
}

std::size_t raw_client::send(std::string_view bytes) const {
  const ssize_t sent = ::send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  return sent < 0 ? 0 : static_cast<std::size_t>(sent);
}

void raw_client::finish_sending() const {
  EXPECT_EQ(shutdown(fd_.get(), SHUT_WR), 0);
}

void raw_client::receive(std::size_t most) {
  char bytes[65536];
  while (most > 0) {
    const ssize_t got = recv(fd_.get(), bytes, std::min(most, sizeof(bytes)), 0);
    has_ended_ = has_ended_ || got == 0 || (got < 0 && errno == ECONNRESET);
    if (got <= 0) { return; }
    received.append(bytes, static_cast<std::size_t>(got));
    most -= static_cast<std::size_t>(got);
  }
}

bool raw_client::is_closed_by_server() {
  receive();
  return has_ended_;
}

std::vector<std::string> raw_client::replies() {
  receive();
  std::vector<std::string> texts;
  while (true) {
    const comm_packet_v4_front front = comm_packet_v4_look(received, comm_packet_v4_reply);
    EXPECT_NE(front.state, comm_packet_v4_state::malformed);
    if (front.state != comm_packet_v4_state::whole) { return texts; }
    comm_socket_v4_packet reply;
    EXPECT_TRUE(comm_packet_v4_decode(std::string_view(received).substr(0, front.size),
                                      comm_packet_v4_reply, reply));
    received.erase(0, front.size);
    texts.push_back(std::to_string(reply.request_id) + " " + reply.words[0] + " " + reply.words[1]);
  }
}

std::vector<unique_fd> fill_backlog(const std::string& path) {
  local_address address;
  EXPECT_TRUE(address.set(path));
  std::vector<unique_fd> waiting;
  do {
    waiting.emplace_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  } while (connect(waiting.back().get(), address.get(), sizeof(address.address)) == 0);
  EXPECT_EQ(errno, EAGAIN);
  return waiting;
}

socket_bench::socket_bench() {
  EXPECT_EQ(comm_socket_v4_create_server(server, path.c_str()), 0);
}

void socket_bench::idle() const {
  EXPECT_EQ(comm_socket_v4_idle(server), 0);
}

void socket_bench::meet_and_part() {
  while (comm_socket_v4_client* const client = comm_socket_v4_accept_connection(server)) {
    accepted.push_back(client);
  }
  while (comm_socket_v4_client* const client = comm_socket_v4_get_disconnected_client(server)) {
    ++gone;
    comm_socket_v4_free_client(client);
  }
}

comm_socket_v4_packet* make_reply(const comm_socket_v4_packet& request, const std::string& data) {
  comm_socket_v4_packet* const reply = comm_socket_v4_packet_create();
  reply->request_id = request.request_id;
  comm_socket_v4_packet_begin_writing(reply, 0, request.words.front().c_str(), "OK");
  comm_socket_v4_packet_write_argv_end(reply);
  comm_socket_v4_packet_write_data_binary(reply, data.data(), data.size());
  comm_socket_v4_packet_write_end(reply);
  return reply;
}

std::string socket_bench::serve_one() {
  comm_socket_v4_client* client = nullptr;
  comm_socket_v4_packet* const request = comm_socket_v4_server_get_packet(server, &client);
  if (request == nullptr) { return ""; }
  EXPECT_NE(client, nullptr);
  comm_socket_v4_packet* const reply = make_reply(*request);
  comm_socket_v4_packet_send_to_client(client, reply);
  comm_socket_v4_packet_release(reply);
  std::string command = request->words.front();
  comm_socket_v4_packet_release(request);
  return command;
}

std::vector<std::string> socket_bench::pass() {
  idle();
  meet_and_part();
  std::vector<std::string> served;
  for (std::string command; !(command = serve_one()).empty();) {
    served.push_back(command);
  }
  return served;
}

std::vector<std::string> socket_bench::pass_all() {
  std::vector<std::string> served = pass();
  while (is_ready()) {
    const std::vector<std::string> more = pass();
    served.insert(served.end(), more.begin(), more.end());
  }
  pass();  // reports clients that have gone
  return served;
}

bool socket_bench::is_ready() const {
  return comm_socket_v4_server_from_client_readable(server, 0) > 0;
}

}  // namespace qx_test
