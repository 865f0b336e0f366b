#include "tests/support/control_client.h"

#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

constexpr std::string_view magic = "CMS4";
constexpr std::size_t header_size = 32;
constexpr std::uint64_t largest_reply = 16UL << 20;

std::string number(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) {
    text += static_cast<char>(value >> (8 * i));
  }
  return text;
}

std::string counted(std::string_view text) {
  return number(text.size(), 4).append(text);
}

// Reads numbers and texts from the front of a packet; `good` becomes false when something is
// missing.
struct reader {
  std::string_view rest;
  bool good = true;

  std::uint64_t number(std::size_t bytes) {
    const std::string_view taken = take(bytes);
    std::uint64_t value = 0;
    for (std::size_t i = taken.size(); i > 0; --i) {
      value = value << 8 | static_cast<unsigned char>(taken[i - 1]);
    }
    return value;
  }
  std::string text() { return std::string(take(number(4))); }
  std::string_view take(std::size_t size) {
    good = good && size <= rest.size();
    const std::string_view taken = good ? rest.substr(0, size) : std::string_view();
    rest.remove_prefix(taken.size());
    return taken;
  }
};

void read_body(reader body, reply_packet& reply) {
  for (auto words = body.number(4); body.good && words > 0; --words) {
    reply.words.push_back(body.text());
  }
  for (auto pairs = body.number(4); body.good && pairs > 0; --pairs) {
    std::string name = body.text();
    reply.pairs.emplace_back(std::move(name), body.text());
  }
  reply.data = body.text();
  EXPECT_TRUE(body.good && body.rest.empty()) << "a reply whose parts do not fill its body";
}

// Milliseconds, as poll() expects.
constexpr int receive_deadline_ms =
    static_cast<int>(std::chrono::milliseconds(default_deadline).count());

}  // namespace

std::string request_packet::encoded() const {
  std::string body = number(words.size(), 4);
  for (const auto& word : words) {
    body += counted(word);
  }
  body += number(pairs.size(), 4);
  for (const auto& [name, value] : pairs) {
    body += counted(name) + counted(value);
  }
  body += counted(data);
  return std::string(magic) + number(body.size(), 4) + number(request_id, 8) + number(0, 8) +
         number(flags, 4) + number(0, 4) + body;
}

std::string reply_packet::status() const {
  if (!received()) { return "(no reply)"; }
  return words.size() < 2 ? "" : words[1];
}

std::string reply_packet::pair(std::string_view name) const {
  std::string found;
  for (const auto& [key, value] : pairs) {
    if (key == name) { found = value; }
  }
  return found;
}

json11::Json reply_packet::json() const {
  std::string error;
  return json11::Json::parse(data, error);
}

raw_connection::raw_connection(const std::string& socket_path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socket_path.copy(address.sun_path, sizeof address.sun_path - 1);
  fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) { return; }
  close(fd_);
  fd_ = -1;
}

raw_connection::~raw_connection() {
  if (fd_ >= 0) { close(fd_); }
}

bool raw_connection::send(std::string_view bytes) const {
  if (!connected()) { return false; }
  while (!bytes.empty()) {
    const ssize_t put = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (put < 0 && errno == EINTR) { continue; }
    if (put < 0) { return false; }
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return true;
}

void raw_connection::finish_sending() const {
  shutdown(fd_, SHUT_WR);
}

bool raw_connection::read_exactly(char* bytes, std::size_t size) const {
  while (size > 0) {
    pollfd readable{fd_, POLLIN, 0};
    if (poll(&readable, 1, receive_deadline_ms) <= 0) { return false; }
    const ssize_t got = read(fd_, bytes, size);
    if (got <= 0) { return false; }
    bytes += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

reply_packet raw_connection::receive() const {
  reply_packet reply;
  char header_bytes[header_size];
  if (!read_exactly(header_bytes, header_size)) { return reply; }
  reader header{{header_bytes, header_size}};
  EXPECT_EQ(header.take(4), magic);
  const auto body_size = header.number(4);
  reply.request_id = header.number(8);
  reply.result_code = header.number(8);
  reply.flags = static_cast<std::uint32_t>(header.number(4));
  EXPECT_EQ(header.number(4), 0U) << "the reserved field";
  EXPECT_LE(body_size, largest_reply);
  std::string body(std::min(body_size, largest_reply), '\0');
  if (read_exactly(body.data(), body.size())) { read_body({body}, reply); }
  return reply;
}

bool raw_connection::closed_by_peer() const {
  pollfd readable{fd_, POLLIN, 0};
  char byte = 0;
  return poll(&readable, 1, receive_deadline_ms) > 0 && read(fd_, &byte, 1) <= 0;
}

}  // namespace qx_test
