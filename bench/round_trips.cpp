#include "bench/round_trips.h"

#include <memory>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

#include "bench/figure.h"
#include "tests/support/control_client.h"

namespace bench {

namespace {

constexpr double duration_ns = 4e8;

std::string test_request() {
  qx_test::request_packet packet;
  packet.words = {"test"};
  return packet.encoded();
}

// A connection that sends another request for every reply.
class caller {
public:
  caller(const std::string& socket_path, int depth) : connection_(socket_path) {
    for (int i = 0; i < depth; ++i) {
      connection_.send(request_);
    }
    reply_size_ = 75;
  }

  int fd() const { return connection_.fd(); }

  // Takes what has arrived and returns the number of replies in it; -1 if the connection is gone.
  int take_replies() {
    char bytes[65536];
    const ssize_t got = recv(connection_.fd(), bytes, sizeof(bytes), MSG_DONTWAIT);
    if (got <= 0) { return -1; }
    received_ += static_cast<std::size_t>(got);
    const auto replies = static_cast<int>(received_ / reply_size_);
    received_ %= reply_size_;
    std::string more;
    for (int i = 0; i < replies; ++i) {
      more += request_;
    }
    return connection_.send(more) ? replies : -1;
  }

private:
  qx_test::raw_connection connection_;
  std::string request_ = test_request();
  std::size_t reply_size_;
  std::size_t received_ = 0;  // bytes of a reply that is not complete yet
};

round_trip_count no_answer() {
  return {not_measured("the server does not answer"), 0};
}

}  // namespace

round_trip_count make_round_trips(const std::string& socket_path, load wanted) {
  std::vector<std::unique_ptr<caller>> callers;
  std::vector<pollfd> entries;
  for (int i = 0; i < wanted.clients; ++i) {
    callers.push_back(std::make_unique<caller>(socket_path, wanted.depth));
    entries.push_back({callers.back()->fd(), POLLIN, 0});
  }
  const double begin = wall_ns();
  round_trip_count made;
  while (wall_ns() - begin < duration_ns) {
    if (poll(entries.data(), entries.size(), 1000) <= 0) { return no_answer(); }
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (entries[i].revents == 0) { continue; }
      const int taken = callers[i]->take_replies();
      if (taken < 0) { return no_answer(); }
      made.replies += taken;
    }
  }
  made.seconds = (wall_ns() - begin) / 1e9;
  return made;
}

}  // namespace bench
