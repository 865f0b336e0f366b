// What the server's two handles are made of. For the sources of the server only.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "platform/comm_socket_v4.h"
#include "platform/unique_fd.h"

// A connection and what came over it. It ends in steps: its input ends (the client closed, or sent
// something malformed); what came whole before is handed out and answered; it is closed; it is
// reported; it is freed. A fault on the way out closes it at once.
struct comm_socket_v4_client {
  comm_socket_v4_client(comm_socket_v4* its_server, int fd) : server(its_server), connection(fd) {}

  comm_socket_v4* server;
  unique_fd connection;  // empty when closed
  std::string input;     // what came; the first `taken` bytes have been handed out
  std::size_t taken = 0;
  bool input_ended = false;
  bool takes_replies = true;  // false once the other side no longer reads
  bool announced = false;     // by accept_connection
  bool reported = false;      // by get_disconnected_client

  // The reply that is half sent, if any, and since when the client has taken nothing of it (0: it
  // took something at the last try).
  const comm_socket_v4_packet* sending = nullptr;
  std::uint64_t stalled_since_us = 0;
  std::uint64_t sending_since_us = 0;  // when the reply under way, or the last one, was begun

  // A copy goes with each request that is handed out, so the number of copies tells how many are
  // not yet released. A copy may outlive the client.
  std::shared_ptr<const void> claim = std::make_shared<char>();

  bool is_open() const { return connection.valid(); }
  bool has_claims() const { return claim.use_count() > 1; }
  std::string_view unread_input() const { return std::string_view(input).substr(taken); }
  bool has_request() const;

  // Reads once, at most a round's share.
  void read_round();
  // The next whole request, or null. A malformed one ends the input.
  std::unique_ptr<comm_socket_v4_packet> take_request();
  // Nothing more is read, and what has not been handed out is dropped.
  void end_input();
  // Gives the memory back as well: a large request's is not kept for the client's life.
  void drop_input();
  // Closes when the input has ended and nothing is left to be handed out or answered.
  void close_when_done();
  void close();
};

struct comm_socket_v4 {
  unique_fd listener;
  std::string path;
  dev_t file_device = 0;  // which socket file this server made
  ino_t file_number = 0;
  // A client was slow to take its reply: the other requests wait for the next round, so that the
  // caller gets on with its other work between two slow replies.
  bool pass_is_over = false;
  // False while there are no descriptors for new connections; the listener is then not waited for.
  bool can_accept = true;
  // In the order in which they get their turn: who was served goes to the end.
  std::list<comm_socket_v4_client> clients;
};
