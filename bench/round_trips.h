// Round trips of the request "test" on a control socket.
#pragma once

#include <string>

namespace bench {

struct load {
  int clients;  // connections
  int depth;    // requests that each keeps under way
};

// Replies per second, over some tenths of a second. 0 if the server does not answer.
double round_trips_per_second(const std::string& socket_path, load wanted);

}  // namespace bench
