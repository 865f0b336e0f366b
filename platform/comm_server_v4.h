// The structures behind the server's two opaque handles. For the server's own sources only.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <poll.h>
#include <sys/types.h>

#include "platform/comm_socket_v4.h"
#include "platform/unique_fd.h"

// A connection, its unread input and its unsent output. It ends in steps: its input ends (the
// client closed, or sent something malformed); requests received whole before that are handed out
// and answered; the connection is closed; its end is reported; it is freed. Once the other side can
// no longer be sent to, its replies are dropped.
struct comm_socket_v4_client {
  comm_socket_v4_client(comm_socket_v4* its_server, int fd) : server(its_server), connection(fd) {}

  comm_socket_v4* server;
  unique_fd connection;  // invalid once closed
  std::string input;     // the first `taken` bytes have been handed out
  std::size_t taken = 0;
  std::size_t request_size = 0;  // of the whole request that is next; 0 if there is none
  std::string output;            // replies; the kernel has taken the first `sent` bytes
  std::size_t sent = 0;
  bool is_blocked = false;  // the kernel takes no more until the client reads
  bool is_ready = true;     // the last poll reported an event
  bool input_ended = false;
  bool takes_replies = true;  // false once the other side no longer reads
  bool announced = false;     // returned by accept_connection
  bool reported = false;      // returned by get_disconnected_client

  // When the first bytes of the unfinished request arrived, and when output was last accepted; 0 if
  // there is no such request or output.
  std::uint64_t request_begun_us = 0;
  std::uint64_t output_stalled_us = 0;

  // Each request that is handed out carries a copy, so the number of copies shows how many requests
  // have not been released yet. A copy may outlive the client.
  std::shared_ptr<const void> claim = std::make_shared<char>();

  bool is_open() const { return connection.valid(); }
  bool has_claims() const { return claim.use_count() > 1; }
  bool has_output() const { return !output.empty(); }
  std::string_view unread_input() const { return std::string_view(input).substr(taken); }
  // Whether a whole request can be handed out. Never while replies wait for the client to read.
  bool has_request() const { return request_size > 0 && !is_blocked; }

  // If the client is ready, reads once, at most one round's share; gives up on a request that takes
  // too long to arrive.
  void read_round(std::uint64_t now_us);
  // Sends as much output as the kernel accepts, and gives up on a client that has accepted none for
  // too long.
  void send_round();
  // Whether the output buffer has room for that many more bytes.
  bool has_room(std::size_t size) const;
  // Adds a reply, whose wire form has that size, to the output.
  void add_output(const comm_socket_v4_packet& packet, std::size_t size);
  // Whether the output should be held back, to be sent together with the reply to the next request.
  bool may_hold_output() const;
  // Sends what is held back, as much as the kernel accepts.
  void send_held();
  // The next whole request, or null. A malformed one ends the input, and so does a lack of memory.
  std::unique_ptr<comm_socket_v4_packet> take_request();
  // Stops reading and drops any input that has not been handed out.
  void end_input();
  void drop_output();
  // Times a client that has to read before the kernel takes more; gives up on it after a while.
  void wait_for_reading(bool has_read_some);
  // Also frees the memory, so that a large request's buffer is not kept for the client's lifetime.
  void drop_input();
  // Frees the memory of a large request that has been handed out.
  void give_memory_back();
  void receive();
  void take_input(std::string_view bytes);
  // Looks for the next request in the input; something malformed ends it.
  void find_request();
  void time_request(std::uint64_t now_us);
  // Closes the connection once the input has ended and nothing is left to hand out or answer.
  void close_when_done();
  void close();
};

struct comm_socket_v4 {
  unique_fd listener;
  std::string path;
  dev_t file_device = 0;  // identifies the socket file that this server made
  ino_t file_number = 0;
  // False while no descriptors are available for new connections; the listener is then not polled.
  bool can_accept = true;
  // Whether the last poll's results have not been used yet, and whether it reported connections; it
  // does not look at the listener while that cannot accept.
  bool is_polled = false;
  bool may_have_connections = true;
  // When the oldest reply that is held back was accepted; 0 if there is none.
  std::uint64_t held_since_us = 0;
  // In the order in which they are served; one whose turn it was moves to the end.
  std::list<comm_socket_v4_client> clients;
  // Whether there may be clients to announce, and clients to report or close.
  bool may_have_new = false;
  bool may_have_ended = false;
  bool has_handed_out = false;  // a request, since the last wait
  std::vector<pollfd> polled;   // by the last poll: the listener, then the clients

  // Finds out which clients are ready, waiting for the first one until the deadline. Returns what
  // poll_until() does.
  int poll_clients(std::uint64_t deadline_us);
  // Unless there are many clients, does the same again and again for a moment, without sleeping.
  int linger(std::uint64_t deadline_us);

  // Keep the total size of all clients' buffers below the limits: the client whose request has been
  // unfinished the longest is ended, or the one that has gone the longest without reading, then the
  // next one, until the rest fits.
  void limit_input();
  void limit_output();
  // Null if no client has an unfinished request, or if all read.
  comm_socket_v4_client* slowest_writer();
  comm_socket_v4_client* slowest_reader();

  // Sends what the kernel accepts to each client. Returns whether replies are left.
  bool send_round();
  // Gives up on clients that have accepted nothing for a moment since that time.
  void close_stalled(std::uint64_t since_us);

  void note_held();
  // Sends the replies that are held back if that has taken long enough.
  void send_overdue();
  void send_all_held();
};
