// Takes the queue page's requests through: method, origin, query, body, the service, answer.
#include "tools/vod_cgi/page_gateway.h"

#include <ctime>
#include <string>

#include "platform/paths.h"
#include "tools/client/outlook.h"
#include "tools/client/service_connection.h"
#include "tools/vod_cgi/page_command.h"
#include "tools/vod_cgi/page_query.h"
#include "tools/vod_cgi/queue_limits.h"
#include "tools/vod_cgi/queue_view.h"
#include "tools/vod_cgi/request_source.h"

namespace {

page_answer bad_request(const std::string& text) {
  return page_refusal(400, "bad request", text);
}

page_answer answer_of_bad_body(body_result result) {
  switch (result) {
  case body_result::too_large:
    return page_refusal(413, "too large", "The body is too large.");
  case body_result::timeout:
    return page_refusal(408, "timeout", "The body did not arrive in time.");
  default:
    return bad_request("The body does not match its Content-Length.");
  }
}

}  // namespace

page_answer answer_queue(const cgi_input& input, std::string_view socket_path,
                         std::uint64_t deadline_us) {
  if (input.method != "GET") {
    return page_refusal(405, "bad method", "The queue is read with GET.");
  }
  queue_query wanted;
  std::string error;
  if (!read_queue_query(input.query, wanted, error)) { return bad_request(error); }
  service_connection service(std::string(socket_path), deadline_us);
  queue_listing queue;
  service_reply failure;
  if (!read_queue(service, {}, queue, failure, gateway_limits)) { return page_failure(failure); }
  for (listed_item& listed : queue.items) {
    read_resumption(listed.item);
    read_spread(listed.item);
  }
  outlook what_is_known;
  const std::int64_t now = std::time(nullptr);
  what_is_known.note(queue.items, now);
  const expected_ends ends = {what_is_known.time_left(queue.items), now};
  return {200, view_of_queue(queue.items, ends, wanted, vod_folder{path_output_dir})};
}

page_answer answer_command(const cgi_input& input, int body_fd, std::string_view socket_path,
                           std::uint64_t deadline_us) {
  if (input.method != "POST") {
    return page_refusal(405, "bad method", "Commands are sent with POST.");
  }
  if (input.page_mark != "1" || source_of(input) == request_source::foreign_page) {
    return page_refusal(403, "foreign page",
                        "Commands need the header X-Vod-Page: 1, and browsers may send them only "
                        "for the queue page.");
  }
  std::string body;
  const body_result got = read_body(body_fd, input.content_length, deadline_us, body);
  if (got != body_result::ok) { return answer_of_bad_body(got); }
  page_command command;
  std::string error;
  if (!read_page_command(read_command_query(input.query), body, command, error)) {
    return bad_request(error);
  }
  service_connection service(std::string(socket_path), deadline_us);
  return run_page_command(service, command, deadline_us);
}
