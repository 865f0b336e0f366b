// A machine of the test's own for uploads: /mnt and /run in memory, a network of nothing but
// itself, and on it a stand-in for the FTP client or a real FTP server.
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include "tests/support/media/tool_run.h"

namespace qx_test {

class remote_machine {
public:
  // Moves this process, and the processes it starts from now on, into the machine.
  remote_machine();
  // Ends the server, and gives the process its own files again; the network stays changed.
  ~remote_machine();
  remote_machine(const remote_machine&) = delete;
  remote_machine& operator=(const remote_machine&) = delete;

  // False where the kernel does not let this user make one.
  bool made() const { return made_; }

  // Writes the service's settings for the server.
  void configure(const std::string& password = "secret") const;

  // Puts a shell script in the place of the FTP client; it may write below "/mnt".
  void replace_client(const std::string& script);

  // Starts the FTP server, whose one user is "vod" with the password "secret". Accepts `rate` bytes
  // per second, 0 for no limit. A running one is ended first. False if there is no such server or
  // it does not start.
  bool start_server(int rate = 0);

  // The server's log.
  std::string server_log() const;

  // The folders in which the tool currently keeps login files.
  std::vector<std::string> login_folders() const;

private:
  bool enter();
  void stop_server();
  bool mount_in_memory(const char* path);
  void mount_file(const std::string& file, const std::string& path);
  void add_line(const std::string& path, const std::string& line);
  void make_server_user();

  std::vector<std::string> mounted_;
  bool made_ = false;
  pid_t server_ = -1;
};

// A whole file's content; "" when it cannot be read.
std::string content(const std::string& path);

// Makes a file of `size` bytes no two parts of which are alike. Returns its path, which no other
// test has: /proc shows the clients of all.
std::string make_source(std::size_t size);

}  // namespace qx_test
