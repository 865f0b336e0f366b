// From a reply on the control socket to an HTTP answer.
#pragma once

#include "platform/comm_client_v4.h"
#include "tools/vod_cgi/cgi_answer.h"

// The answer to a reply of the service. Success is 200 with the service's JSON; a refusal is 404
// for "NOT FOUND", else 400, its text as the pair "X-comm-error" and the item's own text as the
// body. Of an item, keys that are this machine's alone are taken out, its command line among them,
// which can hold a password; to a finished one "output size" is added, the bytes of its output.
cgi_answer answer_of_reply(const comm_socket_v4_packet& reply);

// The answer when there is no reply.
cgi_answer answer_of_failure(comm_client_result result);
