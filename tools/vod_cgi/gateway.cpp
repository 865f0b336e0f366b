// Takes a request through: method, query, body, the service, answer.
#include "tools/vod_cgi/gateway.h"

#include <string>

#include "platform/comm_client_v4.h"
#include "tools/vod_cgi/control_reply.h"
#include "tools/vod_cgi/control_request.h"

namespace {

cgi_answer answer_of_bad_body(body_result result) {
  switch (result) {
  case body_result::too_large:
    return refusal_answer(413, "the body is too large");
  case body_result::timeout:
    return refusal_answer(408, "the body did not arrive in time");
  case body_result::bad_length:
    return refusal_answer(400, "the content length is no number");
  default:
    return refusal_answer(400, "the body is shorter than its length");
  }
}

}  // namespace

cgi_answer answer_request(cgi_input const& input, int body_fd, std::string_view socket_path,
                          std::uint64_t deadline_us) {
  if (input.method != "POST") {
    return refusal_answer(405, "only POST is served");
  }
  std::string const command = command_of_query(input.query);
  if (command.empty()) {
    return refusal_answer(400, "the query names no command that may be given here");
  }
  std::string body;
  body_result const got = read_body(body_fd, input.content_length, deadline_us, body);
  if (got != body_result::ok) {
    return answer_of_bad_body(got);
  }
  comm_socket_v4_packet request;
  std::string error;
  if (!fill_request(command, body, request, error)) {
    return refusal_answer(400, error);
  }
  comm_socket_v4_packet reply;
  comm_client_v4 client(socket_path);
  comm_client_result const result = client.request(request, reply, deadline_us);
  return result == comm_client_result::ok ? answer_of_reply(reply) : answer_of_failure(result);
}
