// Answers in place of operations of the jobs that are read from the queue file.
#pragma once

#include <functional>

namespace qx_test {

// If set, these replace the item's own operation, or the library function that makes the 16 bytes
// of a UUID.
struct readiness_answers {
  std::function<int()> validate_ready;
  std::function<bool()> ready;
};
extern readiness_answers readiness;

}  // namespace qx_test
