// Round trips of the request "test" on a control socket.
#pragma once

#include <string>

namespace bench {

struct load {
  int clients;  // connections
  int depth;    // requests that each keeps under way
};

struct round_trip_count {
  double replies = 0;
  double seconds = 0;

  double per_second() const { return replies / seconds; }
};

// Makes round trips for some tenths of a second. The number of replies is NaN if the server does
// not answer.
round_trip_count make_round_trips(const std::string& socket_path, load wanted);

}  // namespace bench
