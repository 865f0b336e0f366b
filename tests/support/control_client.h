// An independent implementation of the control socket's wire format, so that the product's packet
// code is checked against a second reading of the same document (docs/wire-format.md).
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <json11.hpp>

#include "tests/support/files.h"
#include "tests/support/private_root.h"

namespace qx_test {

constexpr std::uint32_t wants_reply = 1;
constexpr std::uint32_t copied_option = 2;

struct request_packet {
  std::vector<std::string> words;
  name_values pairs;
  std::string data;
  std::uint32_t flags = wants_reply;
  std::uint64_t request_id = 1;

  std::string encoded() const;
};

// A reply; `words` is empty if none arrived (connection closed, deadline passed).
struct reply_packet {
  std::vector<std::string> words;
  name_values pairs;
  std::string data;
  std::uint32_t flags = 0;
  std::uint64_t request_id = 0;
  std::uint64_t result_code = 0;

  bool received() const { return !words.empty(); }
  std::string command() const { return words.empty() ? "" : words[0]; }
  // Word 1, "OK" or the refusal text; "(no reply)" when there is none.
  std::string status() const;
  // The last value with this name; empty if there is none.
  std::string pair(std::string_view name) const;
  // The data as JSON; null if it is not JSON.
  json11::Json json() const;
};

// One connection, for bytes of any kind.
class raw_connection {
public:
  explicit raw_connection(const std::string& socket_path);
  ~raw_connection();
  raw_connection(const raw_connection&) = delete;
  raw_connection& operator=(const raw_connection&) = delete;

  bool connected() const { return fd_ >= 0; }
  // Sends all of it; false if the other side is gone.
  bool send(std::string_view bytes) const;
  void finish_sending() const;
  reply_packet receive() const;
  // Whether the other side closes the connection without sending anything else.
  bool closed_by_peer() const;
  int fd() const { return fd_; }

private:
  // True if all `size` bytes arrived before the deadline.
  bool read_exactly(char* bytes, std::size_t size) const;
  int fd_ = -1;
};

// A client of the service in a private root, with one connection per request. Items are identified
// by entry id.
class control_client {
public:
  explicit control_client(const private_root& root);

  const std::string& socket_path() const { return socket_path_; }
  reply_packet request(const request_packet& packet) const;
  reply_packet request(std::string_view command, const name_values& pairs = {}) const;
  // A command for one item: "pause", "cancel", "modify", ...
  reply_packet command(std::string_view command, const std::string& id,
                       const name_values& more = {}) const;

  // Adds an item and returns its entry id. A refusal fails the test and returns an empty id.
  std::string add(const name_values& pairs) const;
  std::string add_file(std::string_view input_file, const name_values& more = {}) const;
  // The same, and marks the item ready, so that its job starts.
  std::string add_ready(std::string_view input_file, const name_values& more = {}) const;

  // The listing by pages.
  json11::Json list(const name_values& filters = {}) const;
  // The item's JSON form; null if there is none.
  json11::Json item(const std::string& id) const;
  std::string state_text(const std::string& id) const;       // "state"
  std::string transcode_state(const std::string& id) const;  // "transcode state"

  // These wait, fail the test at the deadline, and return the item as last seen.
  json11::Json wait_for_item(const std::string& id,
                             const std::function<bool(const json11::Json&)>& condition) const;
  json11::Json wait_for_transcode_state(const std::string& id, const std::string& state) const;
  json11::Json wait_for_state_text(const std::string& id, const std::string& text) const;
  json11::Json wait_for_progress(const std::string& id, int ten_thousandths) const;

private:
  std::string socket_path_;
};

}  // namespace qx_test
