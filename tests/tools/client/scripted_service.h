// A service that answers from a script, for tests of the client's parts.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/client/vod_service.h"

// Answers every request by calling `answer`, and records the requests as "COMMAND name=value ...".
class scripted_service : public vod_service {
public:
  using script = std::function<service_reply(const std::string& command, const name_values& pairs)>;

  explicit scripted_service(script answer) : answer_(std::move(answer)) {}

  service_reply request(std::string_view command, const name_values& pairs) override;
  const std::vector<std::string>& asked() const { return asked_; }

private:
  script answer_;
  std::vector<std::string> asked_;
};

// A queue that answers "list" as the service does, 16 items to a page. Item N has the entry id
// ids[N] and the input file "/mnt/media/N.mpg".
struct listed_queue {
  std::vector<std::string> ids;
  int modify_counter = 1;

  service_reply answer(const name_values& pairs) const;

private:
  std::string page(std::size_t start, std::size_t end) const;
};

service_reply accepted(std::string data);
service_reply refused(int exit_status, std::string text, std::string data = "");

// An item as the service writes it, with the fields that the client reads.
std::string item_json(const std::string& id, const std::string& state,
                      const std::string& text = "");
