// The gateway's answer to the queue page: an HTTP status and a JSON object.
#pragma once

#include <string>

#include <json11.hpp>

#include "tools/client/vod_service.h"

struct page_answer {
  int status = 200;
  json11::Json body;
};

// An answer that refuses: a word for programs, "error", and a sentence for people, "text".
page_answer page_refusal(int status, const std::string& error, const std::string& text);

// The answer to a reply that is not an acceptance. A refusal has the service's status as "error"
// and the item's own text as "text".
page_answer page_failure(const service_reply& reply);

// The answer as a web server takes it from a CGI program. A successful one carries an entity tag
// made of its body; where the client has that one already, 304 without a body takes its place.
std::string page_text(const page_answer& answer, const std::string& if_none_match);
