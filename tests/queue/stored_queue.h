// A machine whose service has stopped, with jobs in its queue file.
#pragma once

#include <string>
#include <vector>

#include <json11.hpp>

#include "tests/support/test_machine.h"

namespace qx_test {

using json_object = json11::Json::object;
using json_array = json11::Json::array;

// Its uptime delays transcodes, so that restored items stay as they are.
constexpr long young_uptime_s = 200;

struct stored_machine : test_machine {
  // An item for the queue file, with its source and job directory. `more` replaces or adds keys.
  // Its profiles are already listed, so it has everything that later steps need.
  json11::Json stored(const std::string& id, const std::string& state,
                      const json_object& more = {});
  // Writes the queue file and starts the service.
  void start_with(const json_array& items);

  // The entry ids of the first page, in queue order.
  std::vector<std::string> listed_ids() const;
  // Waits until the service has written its queue file.
  void wait_for_queue_file() const;
  // The queue file as a document; null if it is not JSON.
  json11::Json queue_document() const;

private:
  int jobs_ = 100;
};

}  // namespace qx_test
