// The sender of a request: a program, the queue page, or a foreign page in a user's browser.
#pragma once

#include "tools/vod_cgi/cgi_input.h"

enum class request_source { program, own_page, foreign_page };

// A browser sends "Sec-Fetch-Site", or at least "Origin", with whatever may change something, and
// no page can keep it from that or make up other values; programs send neither. The own page has
// the request's own host as its origin, and says "X-Vod-Page: 1", which a foreign page cannot do
// without asking this server first, and that is never granted.
request_source source_of(const cgi_input& input);
