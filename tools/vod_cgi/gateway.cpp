// Takes a request through: method, query, body, the service, answer.
#include "tools/vod_cgi/gateway.h"

#include <string>

#include "platform/comm_client_v4.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/vod_cgi/cgi_answer.h"
#include "tools/vod_cgi/control_reply.h"
#include "tools/vod_cgi/control_request.h"
#include "tools/vod_cgi/page_gateway.h"
#include "tools/vod_cgi/page_query.h"
#include "tools/vod_cgi/request_source.h"
#include "tools/vod_cgi/upload_lookup.h"

namespace {

cgi_answer answer_of_bad_body(body_result result) {
  switch (result) {
  case body_result::too_large:
    return refusal_answer(413, "the body is too large");
  case body_result::timeout:
    return refusal_answer(408, "the body did not arrive in time");
  case body_result::bad_length:
    return refusal_answer(400, "the content length is not a number");
  default:
    return refusal_answer(400, "the body is shorter than its length");
  }
}

cgi_answer answer_of(comm_client_v4& client, const comm_socket_v4_packet& request,
                     std::uint64_t deadline_us) {
  comm_socket_v4_packet reply;
  const comm_client_result result = client.request(request, reply, deadline_us);
  return result == comm_client_result::ok ? answer_of_reply(reply) : answer_of_failure(result);
}

// The answer to an add may be lost on its way back, and the other server then asks again. An upload
// that has its job is answered with that one: a second job would find its source removed by the
// first. The names of uploads are random, so no other job can be meant.
cgi_answer answer_add(comm_client_v4& client, const comm_socket_v4_packet& request,
                      const std::string& upload, std::uint64_t deadline_us) {
  std::string entry_id;
  const comm_client_result result = find_job_of(client, upload, deadline_us, entry_id);
  if (result != comm_client_result::ok) { return answer_of_failure(result); }
  if (entry_id.empty()) { return answer_of(client, request, deadline_us); }
  comm_socket_v4_packet show;
  show.flags = comm_socket_v4_flag_want_reply;
  show.words = {command_list};
  show.nv_pairs = {{key_entry_id, entry_id}};
  cgi_answer answer = answer_of(client, show, deadline_us);
  if (answer.status == 200) { answer.pairs.emplace_back(key_entry_id, entry_id); }
  return answer;
}

cgi_answer answer_server(const cgi_input& input, int body_fd, std::string_view socket_path,
                         std::uint64_t deadline_us) {
  if (input.method != "POST") { return refusal_answer(405, "only POST is served"); }
  const std::string command = command_of_query(input.query);
  if (command.empty()) { return refusal_answer(400, "the query does not name an allowed command"); }
  if (source_of(input) == request_source::foreign_page) {
    return refusal_answer(403, "browsers may send this only for the queue page");
  }
  std::string body;
  const body_result got = read_body(body_fd, input.content_length, deadline_us, body);
  if (got != body_result::ok) { return answer_of_bad_body(got); }
  comm_socket_v4_packet request;
  std::string error;
  if (!fill_request(command, body, request, error)) { return refusal_answer(400, error); }
  comm_client_v4 client(socket_path);
  const std::string upload = uploaded_file(request);
  return command == command_add && !upload.empty()
             ? answer_add(client, request, upload, deadline_us)
             : answer_of(client, request, deadline_us);
}

}  // namespace

std::string answer_request(const cgi_input& input, int body_fd, std::string_view socket_path,
                           std::uint64_t deadline_us) {
  const std::string word = gateway_word(input.query);
  if (word == "queue") {
    return page_text(answer_queue(input, socket_path, deadline_us), input.if_none_match);
  }
  if (word == "command") {
    return page_text(answer_command(input, body_fd, socket_path, deadline_us), "");
  }
  return cgi_text(answer_server(input, body_fd, socket_path, deadline_us));
}
