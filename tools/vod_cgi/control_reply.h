// From a reply of the service to an HTTP answer.
#pragma once

#include "tools/client/vod_service.h"
#include "tools/vod_cgi/cgi_answer.h"

// The answer to a reply of the service. No answer from it is 502, 503 or
// 504. Success is 200 with the service's JSON; a refusal is 404
// for "NOT FOUND", else 400, its text as the pair "X-comm-error" and the item's own text as the
// body. Of an item, keys that are this machine's alone are taken out, its command line among them,
// which can hold a password; to a finished one "output size" is added, the bytes of its output.
cgi_answer answer_of_reply(const service_reply& reply);
