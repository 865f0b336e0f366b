// The least server of the control socket: a poll loop that answers every whole packet with the
// reply to "test". The service is compared with it. Usage: poll_server SOCKET; runs until it is
// killed.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr std::size_t header_size = 32;
constexpr std::size_t id_offset = 8;
constexpr std::size_t id_size = 8;

struct connection {
  int fd;
  std::string input;
};

std::uint32_t number_at(const char* bytes) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes, sizeof(value));
  return value;
}

// The words "test" and "OK", the pair "name" and "value", no data.
std::string reply_to(const char* request) {
  static const std::string body("\2\0\0\0\4\0\0\0test\2\0\0\0OK\1\0\0\0\4\0\0\0name\5\0\0\0value"
                                "\0\0\0\0",
                                43);
  std::string reply("CMS4", 4);
  reply += static_cast<char>(body.size());
  reply.append(3, '\0');
  reply.append(request + id_offset, id_size);
  reply.append(header_size - reply.size(), '\0');
  return reply + body;
}

// False once the client has gone.
bool serve(connection& client) {
  char bytes[65536];
  const ssize_t got = recv(client.fd, bytes, sizeof(bytes), MSG_DONTWAIT);
  if (got <= 0) { return false; }
  client.input.append(bytes, static_cast<std::size_t>(got));
  std::size_t taken = 0;
  while (client.input.size() - taken >= header_size) {
    const char* const packet = client.input.data() + taken;
    const std::size_t size = header_size + number_at(packet + 4);
    if (client.input.size() - taken < size) { break; }
    const std::string reply = reply_to(packet);
    if (send(client.fd, reply.data(), reply.size(), MSG_NOSIGNAL) < 0) { return false; }
    taken += size;
  }
  client.input.erase(0, taken);
  return true;
}

int listen_at(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      listen(fd, 128) != 0) {
    return -1;
  }
  return fd;
}

void run(int listener) {
  std::vector<connection> clients;
  for (;;) {
    std::vector<pollfd> entries{{listener, POLLIN, 0}};
    for (const connection& client : clients) {
      entries.push_back({client.fd, POLLIN, 0});
    }
    if (poll(entries.data(), entries.size(), -1) < 0) { return; }
    for (std::size_t i = clients.size(); i > 0; --i) {
      if (entries[i].revents != 0 && !serve(clients[i - 1])) {
        close(clients[i - 1].fd);
        clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i - 1));
      }
    }
    if (entries[0].revents != 0) { clients.push_back({accept(listener, nullptr, nullptr), {}}); }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) { return 1; }
  const int listener = listen_at(argv[1]);
  if (listener < 0) { return 1; }
  run(listener);
  return 1;
}
