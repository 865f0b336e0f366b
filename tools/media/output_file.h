// A result that appears under its name only when it is complete: it is written under a hidden
// temporary name in the same directory, then renamed. A file that is not committed is removed.
//
// The temporary file is locked while it is written. The file of a killed tool is recognised by the
// missing lock, and removed by the next tool that creates a file in that directory.
#pragma once

#include <chrono>
#include <string>

#include <sys/types.h>

#include "platform/replacement_file.h"
#include "platform/unique_fd.h"

class output_file {
public:
  // How long create() waits for another tool: time enough for one whose service was killed to end
  // on a busy machine.
  static constexpr std::chrono::milliseconds usual_patience{15000};

  // Creates the temporary file next to `path`, empty and readable only by its owner, and removes
  // those that killed tools left there. An existing `path` is unchanged until commit(); a directory
  // is refused, and so is a result that another tool is still writing after `patience`. The wait
  // ends early if the tool is asked to stop. False with the cause in `error`.
  bool create(const std::string& path, std::string& error,
              std::chrono::milliseconds patience = usual_patience);

  // The temporary name, to be written by this process or by an engine. Valid after create().
  std::string temporary_path() const { return folder_ + file_.name(); }

  int fd() const { return file_.fd(); }

  // The directory of the result, open with O_PATH at least. Valid after create().
  int directory() const { return directory_.get(); }

  // The URL of this file for a sandboxed engine, valid even if the name has changed.
  std::string url() const { return "file:/proc/self/fd/" + std::to_string(fd()); }

  // Flushes the content to the disk and gives the file its name, replacing an existing file, and
  // the permissions that the umask leaves; not if the tool is asked to stop in the meantime. False
  // with the cause in `error`; the temporary file is then removed with this object.
  bool commit(std::string& error);

private:
  bool take(const std::string& name);

  std::string folder_;  // with a slash at its end
  std::string name_;    // of the result
  unique_fd directory_;
  replacement_file file_;  // locked
  gid_t group_ = 0;        // of the file as it was created; it may be lent to an engine's
};
