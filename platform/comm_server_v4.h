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

// A connection, its unread input and its unsent output. It ends in steps: its input ends (the
// client closed, or sent something malformed); what came whole before is handed out and answered;
// it is closed; it is reported; it is freed. A fault on the way out closes it at once.
struct comm_socket_v4_client {
  comm_socket_v4_client(comm_socket_v4* its_server, int fd) : server(its_server), connection(fd) {}

  comm_socket_v4* server;
  unique_fd connection;  // empty when closed
  std::string input;     // the first `taken` bytes have been handed out
  std::size_t taken = 0;
  std::string output;  // replies; the kernel has taken the first `sent` bytes
  std::size_t sent = 0;
  bool input_ended = false;
  bool takes_replies = true;  // false once the other side no longer reads
  bool announced = false;     // by accept_connection
  bool reported = false;      // by get_disconnected_client

  // When the first bytes of an unfinished request came, and when output was last taken; 0 where
  // there is no such request or output.
  std::uint64_t request_begun_us = 0;
  std::uint64_t output_stalled_us = 0;

  // A copy goes with each request that is handed out, so the number of copies tells how many are
  // not yet released. A copy may outlive the client.
  std::shared_ptr<const void> claim = std::make_shared<char>();

  bool is_open() const { return connection.valid(); }
  bool has_claims() const { return claim.use_count() > 1; }
  bool has_output() const { return !output.empty(); }
  std::string_view unread_input() const { return std::string_view(input).substr(taken); }
  // A whole request that may be handed out: none while replies wait to be read.
  bool has_request() const;

  // Reads once, at most a round's share, and gives up a request that takes too long to arrive.
  void read_round(std::uint64_t now_us);
  // Gives the kernel as much output as it takes, and gives up a client that takes none for too
  // long.
  void send_round(std::uint64_t now_us);
  // Takes over the wire form of a reply. False when the output has no room for it now.
  bool add_output(std::string wire, std::uint64_t now_us);
  // The next whole request, or null. A malformed one ends the input.
  std::unique_ptr<comm_socket_v4_packet> take_request();
  // Nothing more is read, and what has not been handed out is dropped.
  void end_input();
  void drop_output();
  // Gives the memory back as well: a large request's is not kept for the client's life.
  void drop_input();
  void take_input(std::string_view bytes);
  void time_request(std::uint64_t now_us);
  // Closes when the input has ended and nothing is left to be handed out or answered.
  void close_when_done();
  void close();
};

struct comm_socket_v4 {
  unique_fd listener;
  std::string path;
  dev_t file_device = 0;  // which socket file this server made
  ino_t file_number = 0;
  // False while there are no descriptors for new connections; the listener is then not waited for.
  bool can_accept = true;
  // In the order in which they get their turn: who was served goes to the end.
  std::list<comm_socket_v4_client> clients;

  // Keep all clients' buffers together below their limits: the client whose request has been
  // unfinished for longest ends, or the one that has read nothing for longest.
  void limit_input();
  void limit_output();
};
