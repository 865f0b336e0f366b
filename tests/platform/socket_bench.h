// A control socket server and its clients, all in the test's own thread: the bytes that a client
// has sent are available in the server's next pass, and no test has to wait.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/comm_socket_v4.h"
#include "platform/unique_fd.h"
#include "tests/platform/test_folder.h"

namespace qx_test {

// The wire form of a request with one word and, optionally, data.
std::string request_bytes(const std::string& command, std::uint64_t id = 1,
                          const std::string& data = "", std::uint32_t flags = 1);

// The client's side of a connection, byte by byte.
class raw_client {
public:
  explicit raw_client(const std::string& path);

  bool is_connected() const { return fd_.valid(); }
  int fd() const { return fd_.get(); }
  // Sends as much as the server's side accepts and returns the number of bytes.
  std::size_t send(std::string_view bytes) const;
  void finish_sending() const;
  void close() { fd_.reset(); }

  // Receives the bytes that have arrived, at most `most`.
  void receive(std::size_t most = SIZE_MAX);
  // Whether the server has closed; receives everything available to find out.
  bool is_closed_by_server();
  // Receives and removes the replies that have arrived whole: "id command status", one after
  // another.
  std::vector<std::string> replies();

  std::string received;

private:
  unique_fd fd_;
  bool has_ended_ = false;
};

// Makes connections that nobody accepts until the kernel takes no more.
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
  // Takes the next request, answers "OK" and releases it. Returns its command, empty if there is
  // none.
  std::string serve_one();
  // A whole pass; returns the commands served.
  std::vector<std::string> pass();
  // Makes passes until nothing more arrives.
  std::vector<std::string> pass_all();
  // Whether there is work to do at once.
  bool is_ready() const;

  test_folder folder;
  std::string path = folder.file("socket");
  comm_socket_v4* server = comm_socket_v4_create();
  std::vector<comm_socket_v4_client*>
      accepted;  // every client so far, including those that have gone
  int gone = 0;
};

// A complete reply "OK" with that data.
comm_socket_v4_packet* make_reply(const comm_socket_v4_packet& request,
                                  const std::string& data = "");

}  // namespace qx_test
