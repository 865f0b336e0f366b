// Translates the service's replies.
#include "tools/vod_cgi/control_reply.h"

#include <string>

#include <sys/stat.h>

#include <json11.hpp>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/states.h"

namespace {

// A page of the queue is far below this.
constexpr std::size_t data_limit = 8U << 20U;

// Only meaningful on this machine: processes, and numbers that mean something else on the client's
// machine. Command lines can also contain a password.
constexpr const char* own_keys[] = {key_fileops_job_id, key_process_argv, key_process_pid,
                                    key_remote_job};

// The size lets the remote server verify its download of the output.
void add_output_size(const json11::Json& item, json11::Json::object& keys) {
  struct stat status;
  if (item[key_state].string_value() == name_of(TRANSCODE_DONE) &&
      lstat(item[key_output_file].string_value().c_str(), &status) == 0 &&
      S_ISREG(status.st_mode)) {
    keys[key_output_size] = static_cast<double>(status.st_size);
  }
}

json11::Json handed_on(const json11::Json& document) {
  json11::Json::object keys = document.object_items();
  for (const char* key : own_keys) {
    keys.erase(key);
  }
  add_output_size(document, keys);
  return keys;
}

// The document is a single item, or a page with a "list" of items.
json11::Json handed_on_with_list(const json11::Json& document) {
  json11::Json::object keys = handed_on(document).object_items();
  const auto list = keys.find(key_list);
  if (list != keys.end()) {
    json11::Json::array items;
    for (const json11::Json& item : list->second.array_items()) {
      items.push_back(handed_on(item));
    }
    list->second = items;
  }
  return keys;
}

cgi_answer no_answer(comm_client_result result) {
  switch (result) {
  case comm_client_result::no_service:
    return refusal_answer(503, "the service is not running");
  case comm_client_result::timeout:
    return refusal_answer(504, "the service does not answer");
  case comm_client_result::gone:
    return refusal_answer(503, "the service ended before it answered");
  default:
    return refusal_answer(502, "the service's reply cannot be read");
  }
}

cgi_answer refused(const service_reply& reply, const json11::Json& item) {
  const int status = reply.exit_status == exit_no_such_item ? 404 : 400;
  cgi_answer answer = refusal_answer(status, item[key_text].string_value());
  answer.pairs = reply.pairs;
  answer.pairs.emplace_back(header_refusal, reply.text);
  return answer;
}

}  // namespace

cgi_answer answer_of_reply(const service_reply& reply) {
  if (reply.delivery != comm_client_result::ok) { return no_answer(reply.delivery); }
  if (reply.data.size() > data_limit) {
    return refusal_answer(502, "the service's reply is too large");
  }
  std::string error;
  const json11::Json document = parse_json(reply.data, error);
  if (!reply.accepted()) { return refused(reply, document); }
  if (!reply.data.empty() && !document.is_object()) {
    return refusal_answer(502, "the service's reply cannot be read");
  }
  cgi_answer answer;
  answer.content_type = media_type_json;
  answer.pairs = reply.pairs;
  if (!reply.data.empty()) { answer.body = json_text(handed_on_with_list(document)); }
  return answer;
}
