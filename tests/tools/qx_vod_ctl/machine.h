// A private machine with the built client in it.
#pragma once

#include <string>
#include <vector>

#include "tests/support/test_machine.h"

// The client, running in the private machine in parallel with the test.
class running_client {
public:
  running_client(const qx_test::private_root& root, const std::vector<std::string>& arguments);

  // Waits until the stream holds `text`; false at the deadline.
  bool wait_for_stdout(const std::string& text) const;
  bool wait_for_stderr(const std::string& text) const;
  // Waits for the end.
  qx_test::run_result finish() const;

private:
  std::string out_path_;
  std::string err_path_;
  pid_t pid_;
};

struct ctl_machine : qx_test::test_machine {
  using test_machine::test_machine;

  // Runs the client inside to its end.
  qx_test::run_result ctl(const std::vector<std::string>& arguments) const;
  qx_test::run_result ctl_in(const std::string& folder,
                             const std::vector<std::string>& arguments) const;
  // Starts the client and leaves it running.
  running_client start_ctl(const std::vector<std::string>& arguments) const;

  // Adds a file with the client and returns the entry id it printed; a failure fails the test.
  std::string add(const std::string& file) const;
  // Adds a source of that name and waits until its job is done.
  std::string add_done(const std::string& file) const;
  // Adds a source of that name and waits until its transcode runs, which it does until the test
  // releases "go".
  std::string add_transcoding(const std::string& file);

  // Starts the service with cancelled items of these ids, all of the same source.
  void start_with_items(const std::vector<std::string>& ids);
};

// Leaves the folder of an interrupted transcode of the file `source`, with two finished segments of
// 1000 bytes.
void leave_segments(const qx_test::private_root& root, const std::string& source);

// `text` without the line feed at its end.
std::string chomped(std::string text);
