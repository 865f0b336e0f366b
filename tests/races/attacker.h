// An account without privileges that changes names as fast as it can while root works on them.
#pragma once

#include <atomic>
#include <functional>

#include <sys/types.h>

namespace qx_test {

// Runs `round` again and again in a process of the account "nobody" until it is destroyed.
class attacker {
public:
  // Returns once the first round is done.
  explicit attacker(const std::function<void()>& round);
  ~attacker();
  attacker(const attacker&) = delete;
  attacker& operator=(const attacker&) = delete;

private:
  using counter = std::atomic<unsigned long>;

  void wait_for_first_round() const;

  counter* rounds_;  // shared with the process
  pid_t pid_ = -1;
};

// One round each; all names are below a folder that everybody can write to.

// Two names take each other's place.
std::function<void()> exchange(const char* one, const char* other);

// A link to `target` takes the place of every unfinished result in `folder`.
std::function<void()> plant_for_parts(const char* folder, const char* target);

}  // namespace qx_test
