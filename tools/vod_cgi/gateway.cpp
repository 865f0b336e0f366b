// Takes a request through: method, query, body, the service, answer.
#include "tools/vod_cgi/gateway.h"

#include <string>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/client/queue_reader.h"
#include "tools/client/service_connection.h"
#include "tools/vod_cgi/cgi_answer.h"
#include "tools/vod_cgi/control_reply.h"
#include "tools/vod_cgi/control_request.h"
#include "tools/vod_cgi/page_gateway.h"
#include "tools/vod_cgi/page_query.h"
#include "tools/vod_cgi/queue_limits.h"
#include "tools/vod_cgi/request_source.h"

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

// The entry id of the job whose source is `file`; empty when there is none.
std::string job_of(const queue_listing& queue, const std::string& file) {
  for (const listed_item& listed : queue.items) {
    if (listed.item.input_file == file) { return listed.item.entry_id; }
  }
  return "";
}

// The answer to an add may be lost on its way back, and the other server then asks again. An upload
// that has its job is answered with that one: a second job would find its source removed by the
// first. The names of uploads are random, so no other job can be meant.
cgi_answer answer_add(vod_service& service, const name_values& pairs, const std::string& upload) {
  queue_listing queue;
  service_reply failure;
  if (!read_queue(service, {}, queue, failure, gateway_limits)) { return answer_of_reply(failure); }
  const std::string entry_id = job_of(queue, upload);
  if (entry_id.empty()) { return answer_of_reply(service.request(command_add, pairs)); }
  cgi_answer answer = answer_of_reply(service.request(command_list, {{key_entry_id, entry_id}}));
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
  name_values pairs;
  std::string error;
  if (!read_pairs(body, pairs, error)) { return refusal_answer(400, error); }
  service_connection service(std::string(socket_path), deadline_us);
  const std::string upload = uploaded_file(pairs);
  return command == command_add && !upload.empty()
             ? answer_add(service, pairs, upload)
             : answer_of_reply(service.request(command, pairs));
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
