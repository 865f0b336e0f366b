// The queue page's commands. Everything here comes from strangers.
#pragma once

#include <cstdint>
#include <string>

#include "tools/client/vod_service.h"
#include "tools/vod_cgi/page_answer.h"

struct page_command {
  std::string word;    // add, modify, pause, resume, cancel, restart or remove
  std::string id;      // the job, "" for add
  name_values fields;  // for add and modify, under the service's names
};

// Reads the body of a command: a JSON object of texts and booleans. "add" takes "file", "profile"
// and "deletes_source"; the others take "id", and "modify" takes "profile" and "deletes_source"
// too. False, with the cause in `error`, for anything else.
bool read_page_command(const std::string& word, const std::string& body, page_command& command,
                       std::string& error);

// Carries it out. Success is {"id": ID}; a refusal has the service's status as "error", and its
// reason as "text". A file that the service does not take leaves nothing in the queue. A profile
// that the source does not offer is refused before anything is sent, as "no such profile".
page_answer run_page_command(vod_service& service, const page_command& command,
                             std::uint64_t deadline_us);
