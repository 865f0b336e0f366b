// Requests for items, and waiting for items to change.
#include <memory>

#include <gtest/gtest.h>

#include "tests/support/control_client.h"
#include "tests/support/wait_until.h"

namespace qx_test {

control_client::control_client(const private_root& root)
    : socket_path_(root.path("/run/vod.transcode.service")) {}

reply_packet control_client::request(const request_packet& packet) const {
  const raw_connection connection(socket_path_);
  if (!connection.connected() || !connection.send(packet.encoded())) { return {}; }
  return connection.receive();
}

reply_packet control_client::request(std::string_view command, const name_values& pairs) const {
  request_packet packet;
  packet.words = {std::string(command)};
  packet.pairs = pairs;
  return request(packet);
}

reply_packet control_client::command(std::string_view command, const std::string& id,
                                     const name_values& more) const {
  name_values pairs = {{"entry id", id}};
  pairs.insert(pairs.end(), more.begin(), more.end());
  return request(command, pairs);
}

std::string control_client::add(const name_values& pairs) const {
  const auto reply = request("add", pairs);
  EXPECT_EQ(reply.status(), "OK") << "add";
  return reply.pair("entry id");
}

std::string control_client::add_file(std::string_view input_file, const name_values& more) const {
  name_values pairs = {{"input file", std::string(input_file)}};
  pairs.insert(pairs.end(), more.begin(), more.end());
  return add(pairs);
}

std::string control_client::add_ready(std::string_view input_file, const name_values& more) const {
  std::string id = add_file(input_file, more);
  EXPECT_EQ(command("ready", id).status(), "OK") << "ready " << input_file;
  return id;
}

json11::Json control_client::list(const name_values& filters) const {
  return request("list", filters).json();
}

json11::Json control_client::item(const std::string& id) const {
  return list({{"entry id", id}});
}

std::string control_client::state_text(const std::string& id) const {
  return item(id)["state"].string_value();
}

std::string control_client::transcode_state(const std::string& id) const {
  return item(id)["transcode state"].string_value();
}

// One connection for all requests: separate ones would fill the service's log and take up its
// passes.
json11::Json
control_client::wait_for_item(const std::string& id,
                              const std::function<bool(const json11::Json&)>& condition) const {
  request_packet packet;
  packet.words = {"list"};
  packet.pairs = {{"entry id", id}};
  const std::string bytes = packet.encoded();
  auto connection = std::make_unique<raw_connection>(socket_path_);
  json11::Json last;
  const bool came = wait_until([&] {
    const auto reply = connection->send(bytes) ? connection->receive() : reply_packet{};
    if (!reply.received()) { connection = std::make_unique<raw_connection>(socket_path_); }
    last = reply.json();
    return condition(last);
  });
  EXPECT_TRUE(came) << "the item stayed " << last.dump();
  return last;
}

json11::Json control_client::wait_for_transcode_state(const std::string& id,
                                                      const std::string& state) const {
  return wait_for_item(
      id, [&](const auto& item) { return item["transcode state"].string_value() == state; });
}

json11::Json control_client::wait_for_state_text(const std::string& id,
                                                 const std::string& text) const {
  return wait_for_item(id, [&](const auto& item) { return item["state"].string_value() == text; });
}

json11::Json control_client::wait_for_progress(const std::string& id, int ten_thousandths) const {
  return wait_for_item(id, [&](const auto& item) {
    return item["transcode progress"][0].int_value() == ten_thousandths;
  });
}

}  // namespace qx_test
