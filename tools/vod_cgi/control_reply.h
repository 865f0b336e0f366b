// From a reply on the control socket to an HTTP answer.
#pragma once

#include "platform/comm_client_v4.h"
#include "tools/vod_cgi/cgi_answer.h"

// The answer to a reply of the service. Success is 200 with the service's JSON; a refusal is 404
// for "NOT FOUND", else 400, its text as the pair "X-comm-error" and the item's own text as the
// body. Command lines are taken out of what is handed on: one can hold a password.
cgi_answer answer_of_reply(const comm_socket_v4_packet& reply);

// The answer when there is no reply.
cgi_answer answer_of_failure(comm_client_result result);
