// Requests over the control socket, and what their answers amount to.
#include "tools/qx_vod_ctl/service_connection.h"

#include "platform/clock.h"

namespace {

constexpr std::string_view not_found_text = "NOT FOUND";

service_reply no_answer(comm_client_result result, const std::string& socket_path) {
  service_reply reply;
  switch (result) {
  case comm_client_result::timeout:
    reply.text = "the service does not answer";
    break;
  case comm_client_result::gone:
    reply.text = "the service went away before it answered";
    break;
  case comm_client_result::malformed:
    reply.text = "the request cannot be sent, or its answer cannot be understood";
    break;
  default:
    reply.text = "no service at " + socket_path;
  }
  return reply;
}

service_reply answer(comm_socket_v4_packet& packet) {
  service_reply reply;
  if (packet.words.size() > 1) reply.text = packet.words[1];
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
    if (key == name) found = value;
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
