// A network share that stops answering: a FUSE file system in a private root, served by a process
// that can be told to be silent.
//
// It has two sources, clip.mpg and other.mpg, each with metadata that names the type video/mp4. The
// kernel caches nothing of them.
#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

#include "tests/support/private_root.h"

namespace qx_test {

class silent_mount {
public:
  // Mounts it on that directory of the private root, which is created.
  silent_mount(const private_root& root, std::string_view inside);
  // Ends the server, so that every process that waits for it gets an error and can end.
  ~silent_mount();
  silent_mount(const silent_mount&) = delete;
  silent_mount& operator=(const silent_mount&) = delete;

  // False if the machine has no FUSE, or does not let the test use it.
  bool is_mounted() const { return is_mounted_; }

  // From now on requests are left unanswered.
  void fall_silent() const { send('s'); }
  // Answers those that have been left, and from now on all.
  void answer() const { send('a'); }
  // From now on each answer takes a tenth of a second.
  void answer_slowly() const { send('w'); }

private:
  void send(char order) const;

  bool is_mounted_ = false;
  int orders_ = -1;
  int confirmations_ = -1;
  pid_t server_ = -1;
};

}  // namespace qx_test
