// The gateway's answer to another server: an HTTP status, the service's own header block, a body.
//
//   Status: 404 Not Found
//   Content-Type: text/plain
//
//   X-comm-error:NOT FOUND        name:value lines, no blank after the colon
//                                 an empty line
//   ...                           body
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "rules/control_words.h"

struct cgi_answer {
  int status = 200;
  std::string content_type = media_type_text;
  std::vector<std::pair<std::string, std::string>> pairs;
  std::string body;
};

// An answer that refuses, with a sentence for the reader of the text.
cgi_answer refusal_answer(int status, const std::string& body);

// The answer as a web server takes it from a CGI program. Line ends and other control characters in
// names and values become blanks: no value can add a line.
std::string cgi_text(const cgi_answer& answer);

// The reason phrase of an HTTP status.
const char* reason_phrase(int status);
