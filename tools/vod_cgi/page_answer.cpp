#include "tools/vod_cgi/page_answer.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "tools/vod_cgi/cgi_answer.h"

namespace {

// FNV-1a: distinguishes answers, and need not withstand attacks.
std::string tag_of(const std::string& body) {
  std::uint64_t sum = 14695981039346656037U;
  for (const char c : body) {
    sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211U;
  }
  char digits[17];
  snprintf(digits, sizeof(digits), "%016" PRIx64, sum);
  return digits;
}

std::string head(int status) {
  return "Status: " + std::to_string(status) + " " + reason_phrase(status) +
         "\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n"
         "Cross-Origin-Resource-Policy: same-origin\r\n";
}

}  // namespace

page_answer page_refusal(int status, const std::string& error, const std::string& text) {
  return {status, json11::Json::object{{"error", error}, {"text", text}}};
}

namespace {

page_answer no_answer(comm_client_result result) {
  switch (result) {
  case comm_client_result::no_service:
    return page_refusal(503, "no service",
                        "The service is not running, or the web server may not connect to it.");
  case comm_client_result::timeout:
    return page_refusal(504, "no answer", "The service does not answer.");
  case comm_client_result::gone:
    return page_refusal(503, "service ended", "The service ended before it answered.");
  default:
    return page_refusal(502, "unreadable reply", "The service's reply cannot be read.");
  }
}

}  // namespace

page_answer page_failure(const service_reply& reply) {
  if (reply.delivery != comm_client_result::ok) { return no_answer(reply.delivery); }
  std::string error;
  const json11::Json job = parse_json(reply.data, error);
  return page_refusal(reply.exit_status == exit_no_such_item ? 404 : 409, reply.text,
                      job[key_text].string_value());
}

std::string page_text(const page_answer& answer, const std::string& if_none_match) {
  const std::string body = json_text(answer.body) + "\n";
  std::string tag_line;
  if (answer.status == 200) {
    const std::string tag = tag_of(body);
    tag_line = "ETag: \"" + tag + "\"\r\n";
    // A web server that compresses answers adds to the tag.
    if (if_none_match.find(tag) != std::string::npos) { return head(304) + tag_line + "\r\n"; }
  }
  return head(answer.status) + tag_line + "Content-Type: application/json\r\n\r\n" + body;
}
