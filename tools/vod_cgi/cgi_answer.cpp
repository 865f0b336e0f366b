// Writes answers as CGI wants them.
#include "tools/vod_cgi/cgi_answer.h"

namespace {

std::string on_one_line(std::string text) {
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    c = byte < 0x20 || byte == 0x7f ? ' ' : c;
  }
  return text;
}

}  // namespace

const char* reason_phrase(int status) {
  switch (status) {
  case 200:
    return "OK";
  case 304:
    return "Not Modified";
  case 400:
    return "Bad Request";
  case 403:
    return "Forbidden";
  case 404:
    return "Not Found";
  case 405:
    return "Method Not Allowed";
  case 408:
    return "Request Timeout";
  case 409:
    return "Conflict";
  case 413:
    return "Payload Too Large";
  case 502:
    return "Bad Gateway";
  case 503:
    return "Service Unavailable";
  case 504:
    return "Gateway Timeout";
  default:
    return "Error";
  }
}

cgi_answer refusal_answer(int status, const std::string& body) {
  cgi_answer answer;
  answer.status = status;
  answer.body = body;
  return answer;
}

std::string cgi_text(const cgi_answer& answer) {
  std::string text = "Status: " + std::to_string(answer.status) + " " +
                     reason_phrase(answer.status) + "\r\nContent-Type: " + answer.content_type +
                     "\r\nCache-Control: no-store\r\nX-Content-Type-Options: nosniff\r\n\r\n";
  for (const auto& [name, value] : answer.pairs) {
    text += on_one_line(name) + ":" + on_one_line(value) + "\n";
  }
  return text + "\n" + answer.body;
}
