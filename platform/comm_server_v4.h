// What the server of the control socket is made of. For the library's own sources only.
#pragma once

#include <list>
#include <memory>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "platform/comm_socket_v4.h"
#include "platform/unique_fd.h"

struct comm_socket_v4_client {
  unique_fd fd;
  std::string received;  // what was read, handed out up to `handed_out`
  std::size_t handed_out = 0;
  bool input_ended = false;            // it closed its sending side, or sent something malformed
  bool announced = false;              // accept_connection told of it
  std::uint64_t last_progress_us = 0;  // when it last took a byte of the reply under way

  std::string_view pending() const { return std::string_view(received).substr(handed_out); }
};

struct comm_socket_v4 {
  unique_fd listener;
  std::string path;
  dev_t device = 0;  // of the socket file that was made
  ino_t inode = 0;
  // In the order of their turns: a client that was served goes to the end.
  std::list<std::unique_ptr<comm_socket_v4_client>> clients;
  std::uint64_t accept_again_us = 0;  // no connection is asked for before this time
};

// True when the client's next bytes are a whole request, or cannot become one.
bool comm_client_has_something(comm_socket_v4_client const& client);
