// A control socket server and its clients, all in the test's own thread: what a client sent is
// there for the server's next pass, and no test waits.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/comm_socket_v4.h"
#include "platform/unique_fd.h"
#include "tests/platform/test_folder.h"

namespace qx_test {

// The wire form of a request of one word and, perhaps, data.
std::string request_bytes(const std::string& command, std::uint64_t id = 1,
                          const std::string& data = "", std::uint32_t flags = 1);

// The client's side of a connection, byte by byte.
class raw_client {
public:
  explicit raw_client(const std::string& path);

  bool is_connected() const { return fd_.valid(); }
  int fd() const { return fd_.get(); }
  // Sends what the server's side takes and returns how much that was.
  std::size_t send(std::string_view bytes) const;
  void finish_sending() const;
  void close() { fd_.reset(); }

  // Takes what has come, at most `most` bytes.
  void receive(std::size_t most = SIZE_MAX);
  // Whether the server has closed, found by receiving all there is.
  bool is_closed_by_server();
  // Receives and takes the replies that are whole by now: "id command status", one after another.
  std::vector<std::string> replies();

  std::string received;

private:
  unique_fd fd_;
  bool has_ended_ = false;
};

// Connections that nobody takes, until the kernel takes no more.
std::vector<unique_fd> fill_backlog(const std::string& path);

class socket_bench {
public:
  // Listens on `path` right away.
  socket_bench();
  ~socket_bench() { comm_socket_v4_destroy(server); }
  socket_bench(const socket_bench&) = delete;
  socket_bench& operator=(const socket_bench&) = delete;

  raw_client connect() const { return raw_client(path); }

  // The parts of a pass.
  void idle() const;
  void meet_and_part();
  // Hands out, answers "OK" and releases the next request; its command, empty when there is none.
  std::string serve_one();
  // A whole pass; returns the commands served.
  std::vector<std::string> pass();
  // Passes until nothing comes any more.
  std::vector<std::string> pass_all();
  // Whether something is to be done at once.
  bool is_ready() const;

  test_folder folder;
  std::string path = folder.file("socket");
  comm_socket_v4* server = comm_socket_v4_create();
  std::vector<comm_socket_v4_client*> accepted;  // all ever, the gone among them
  int gone = 0;
};

// A complete reply "OK" with that data.
comm_socket_v4_packet* make_reply(const comm_socket_v4_packet& request,
                                  const std::string& data = "");

}  // namespace qx_test
