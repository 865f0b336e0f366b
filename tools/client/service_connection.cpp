#include "tools/client/service_connection.h"

#include <unistd.h>

#include "platform/clock.h"
#include "rules/control_words.h"
#include "tools/client/advice.h"

namespace {

service_reply no_service(const std::string& socket_path) {
  service_reply reply;
  const bool is_there = access(socket_path.c_str(), F_OK) == 0;
  if (is_there && access(socket_path.c_str(), W_OK) != 0) {
    reply.text = "no permission to use " + socket_path;
    reply.advice = "root and the members of its group have it: see ls -l";
  } else {
    reply.text = "no service at " + socket_path;
    reply.advice = "start it with: systemctl start qx-vod";
  }
  return reply;
}

service_reply explained(comm_client_result result, const std::string& socket_path) {
  service_reply reply;
  switch (result) {
  case comm_client_result::timeout:
    reply.text = "the service does not answer";
    reply.advice = "see: qx_vod_ctl doctor";
    break;
  case comm_client_result::gone:
    reply.text = "the service closed the connection before it answered";
    break;
  case comm_client_result::malformed:
    reply.text = "the request cannot be sent, or its answer is malformed";
    break;
  default:
    return no_service(socket_path);
  }
  return reply;
}

service_reply no_answer(comm_client_result result, const std::string& socket_path) {
  service_reply reply = explained(result, socket_path);
  reply.delivery = result;
  return reply;
}

service_reply answer(comm_socket_v4_packet& packet) {
  service_reply reply;
  if (packet.words.size() > 1) { reply.text = packet.words[1]; }
  reply.advice = advice_for(reply.text);
  reply.pairs = std::move(packet.nv_pairs);
  reply.data = std::move(packet.data);
  if (packet.result_code == 0) {
    reply.exit_status = 0;
  } else {
    reply.exit_status = reply.text == status_not_found ? exit_no_such_item : exit_refused;
  }
  return reply;
}

}  // namespace

service_connection::service_connection(std::string socket_path,
                                       std::chrono::microseconds time_limit)
    : socket_path_(std::move(socket_path)), time_limit_(time_limit), client_(socket_path_) {}

service_connection::service_connection(std::string socket_path, std::uint64_t deadline_us)
    : socket_path_(std::move(socket_path)), deadline_us_(deadline_us), client_(socket_path_) {}

service_reply service_connection::request(std::string_view command, const name_values& pairs) {
  comm_socket_v4_packet request;
  request.flags = comm_socket_v4_flag_want_reply;
  request.request_id = ++last_request_id_;
  request.words = {std::string(command)};
  request.nv_pairs = pairs;
  comm_socket_v4_packet reply;
  const auto limit = static_cast<std::uint64_t>(time_limit_.count());
  const comm_client_result result =
      client_.request(request, reply, deadline_us_.value_or(monotonic_clock_us() + limit));
  return result == comm_client_result::ok ? answer(reply) : no_answer(result, socket_path_);
}
