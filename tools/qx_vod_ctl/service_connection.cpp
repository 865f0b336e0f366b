// Requests over the control socket, and what their answers amount to.
#include "tools/qx_vod_ctl/service_connection.h"

#include <unistd.h>

#include "platform/clock.h"

namespace {

constexpr std::string_view not_found_text = "NOT FOUND";

struct text_and_advice {
  std::string_view text;
  const char* advice;
};

constexpr text_and_advice advices[] = {
    {"ITEM IS BUSY", "it runs: cancel it first"},
    {"TOO MANY ITEMS", "remove jobs that wait, or add again when some are done"},
};

std::string advice_about(std::string_view text) {
  for (const auto& known : advices) {
    if (known.text == text) { return known.advice; }
  }
  return "";
}

service_reply no_service(const std::string& socket_path) {
  service_reply reply;
  const bool is_there = access(socket_path.c_str(), F_OK) == 0;
  if (is_there && access(socket_path.c_str(), W_OK) != 0) {
    reply.text = "no right to use " + socket_path;
    reply.advice = "root and the members of its group may: see ls -l";
  } else {
    reply.text = "no service at " + socket_path;
    reply.advice = "start it with: systemctl start qx-vod";
  }
  return reply;
}

service_reply no_answer(comm_client_result result, const std::string& socket_path) {
  service_reply reply;
  switch (result) {
  case comm_client_result::timeout:
    reply.text = "the service does not answer";
    reply.advice = "see: qx_vod_ctl doctor";
    break;
  case comm_client_result::gone:
    reply.text = "the service went away before it answered";
    break;
  case comm_client_result::malformed:
    reply.text = "the request cannot be sent, or its answer cannot be understood";
    break;
  default:
    return no_service(socket_path);
  }
  return reply;
}

service_reply answer(comm_socket_v4_packet& packet) {
  service_reply reply;
  if (packet.words.size() > 1) { reply.text = packet.words[1]; }
  reply.advice = advice_about(reply.text);
  reply.pairs = std::move(packet.nv_pairs);
  reply.data = std::move(packet.data);
  if (packet.result_code == 0) {
    reply.exit_status = 0;
  } else {
    reply.exit_status = reply.text == not_found_text ? exit_no_such_item : exit_refused;
  }
  return reply;
}

}  // namespace

std::string service_reply::pair(std::string_view name) const {
  std::string found;
  for (const auto& [key, value] : pairs) {
    if (key == name) { found = value; }
  }
  return found;
}

service_connection::service_connection(std::string socket_path, std::chrono::microseconds deadline)
    : socket_path_(std::move(socket_path)), deadline_(deadline), client_(socket_path_) {}

service_reply service_connection::request(std::string_view command, const name_values& pairs) {
  comm_socket_v4_packet request;
  request.flags = comm_socket_v4_flag_want_reply;
  request.request_id = ++last_request_id_;
  request.words = {std::string(command)};
  request.nv_pairs = pairs;
  comm_socket_v4_packet reply;
  const auto limit = monotonic_clock_us() + static_cast<std::uint64_t>(deadline_.count());
  const comm_client_result result = client_.request(request, reply, limit);
  return result == comm_client_result::ok ? answer(reply) : no_answer(result, socket_path_);
}
