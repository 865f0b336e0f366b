// Answers in place of operations of the jobs that are read from the queue file.
#pragma once

#include <functional>

namespace qx_test {

// Where one is set it answers in place of the item's own operation, until the test ends.
struct readiness_answers {
  std::function<int()> validate_ready;
  std::function<bool()> ready;
};
extern readiness_answers readiness;

}  // namespace qx_test
