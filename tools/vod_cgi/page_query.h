// Reads the queries of the queue page. Everything here comes from strangers.
#pragma once

#include <string>
#include <string_view>

// At most so many jobs in one answer.
constexpr int most_shown = 64;

struct queue_query {
  int first = 0;       // index of the first job among those that match
  int count = 32;      // 1 to most_shown
  std::string show;    // a group, see job_view.h; "" for all
  std::string state;   // a state of the service; "" for all
  std::string search;  // at most 200 bytes, no control characters; "" for all
};

// The word "c" of a query, which selects the interface: "vodsrv", "queue", "command". "" if it is
// missing or given twice.
std::string gateway_word(std::string_view query);

// Reads "c=queue" and the fields first, count, show, state and search, each once at most,
// percent-encoded as in a form. False, with the cause in `error`, for anything else.
bool read_queue_query(std::string_view query, queue_query& wanted, std::string& error);

// Reads "c=command&vc=COMMAND" and nothing besides; "" for anything else.
std::string read_command_query(std::string_view query);
