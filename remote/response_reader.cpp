// Parses a remote server's reply, in place, in the HTTP client's output: status line, HTTP headers,
// the service's own header block at the start of the body, and the body.
//
//   HTTP/1.1 200 OK              status line: version, code, reason phrase
//   Content-Type: text/plain     HTTP headers, up to an empty line
//
//   X-comm-error:NOT FOUND       comm headers, up to an empty line; no blank after the colon
//
//   ...                          body
//
// A reader that finds no complete line stops and leaves its fields unchanged; the caller checks
// which fields were set.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <strings.h>

#include "platform/sliding_window_v4.h"
#include "queue/queue_item.h"
#include "rules/control_words.h"
#include "rules/json_text.h"
#include "rules/limits.h"

namespace {

const char* skip_spaces(const char* text) {
  return text + strspn(text, " ");
}

// Splits a header line at its first colon. False if there is no colon.
bool divide_header(const char* line, std::string& name, const char*& value) {
  const char* const colon = strchr(line, ':');
  if (colon == nullptr) { return false; }
  name.assign(line, colon);
  value = colon + 1;
  return true;
}

std::string unread_bytes(const sliding_window_v4* buffer) {
  return {reinterpret_cast<const char*>(buffer->read_pos),
          sliding_window_v4_data_available(buffer)};
}

}  // namespace

void QueueItem::stdout_cgi_stdout_read_http_response(CurlVodCGIResponse& response) {
  const char* const line = proc_stdout_getline();
  if (line == nullptr) { return; }
  const char* const version = skip_spaces(line);
  const char* const version_end = strchr(version, ' ');
  if (version_end == nullptr) { return; }
  response.version.assign(version, version_end);
  const char* const code = skip_spaces(version_end);
  // Kept on purpose: without a reason phrase there is no second blank, so the code is not read.
  // Effect: such a reply is treated as one without a status.
  const char* const code_end = strchr(code, ' ');
  if (code_end == nullptr) { return; }
  response.http_status = static_cast<std::uint32_t>(strtol(code, nullptr, 10));
  response.status_string = skip_spaces(code_end);
}

void QueueItem::stdout_cgi_stdout_read_http_headers(CurlVodCGIResponse& response) {
  std::string name;
  const char* value = nullptr;
  for (const char* line = nullptr; (line = proc_stdout_getline()) != nullptr && *line != '\0';) {
    if (!divide_header(line, name, value)) { continue; }
    if (*value == ' ') { ++value; }
    if (strcasecmp(name.c_str(), "content-type") == 0) {
      response.content_type.assign(value, strcspn(value, ";"));
    }
    response.http_headers.emplace_back(name, value);
  }
}

void QueueItem::stdout_cgi_stdout_read_comm_headers(CurlVodCGIResponse& response) {
  std::string name;
  const char* value = nullptr;
  for (const char* line = nullptr; (line = proc_stdout_getline()) != nullptr && *line != '\0';) {
    if (divide_header(line, name, value)) { response.comm_headers.emplace_back(name, value); }
  }
}

void QueueItem::stdout_cgi_stdout_read_json_body(CurlVodCGIResponse& response) {
  if (proc_stdout_buffer == nullptr || sliding_window_v4_data_available(proc_stdout_buffer) == 0) {
    return;
  }
  std::string error;
  response.json = parse_json(unread_bytes(proc_stdout_buffer), error, most_item_elements);
  if (!error.empty()) { fprintf(stderr, "WARNING: json parse error '%s'\n", error.c_str()); }
}

void QueueItem::stdout_cgi_stdout_read_text_body(std::string& text) {
  if (proc_stdout_buffer != nullptr) { text = unread_bytes(proc_stdout_buffer); }
}

bool QueueItem::CurlVodCGIResponse::comm_get_err(std::string& out) const {
  for (const auto& [name, value] : comm_headers) {
    if (name == header_refusal) {
      out = value;
      return true;
    }
  }
  return false;
}

void QueueItem::CurlVodCGIResponse::dump() const {
  fprintf(stderr, "Response:\n");
  fprintf(stderr, "  HTTP status='%u' version='%s' status-string='%s'\n", http_status,
          version.c_str(), status_string.c_str());
  for (const auto& [name, value] : http_headers) {
    fprintf(stderr, "  http header '%s' = '%s'\n", name.c_str(), value.c_str());
  }
  for (const auto& [name, value] : comm_headers) {
    fprintf(stderr, "  comm header '%s' = '%s'\n", name.c_str(), value.c_str());
  }
  if (!json.is_null()) { fprintf(stderr, "  Json:%s\n", json.dump().c_str()); }
}
