// The hidden folder beside an output in which a transcode keeps its finished segments. It belongs
// to what is made, not to one run of the tool: the next run that makes the same of the same source
// finds it.
#pragma once

#include <string>

#include "platform/unique_fd.h"

class work_folder {
public:
  // Creates the folder for `key` next to the file `output`, or takes the one that an earlier run
  // left. `key` says all on which the segments depend. If another process uses that folder, or
  // somebody else owns it, an empty one with a name of its own is created. `source` is
  // what the folder shall remember of the source. False with the cause in `error`.
  bool open(const std::string& output, const std::string& key, const std::string& source,
            std::string& error);

  // Valid after open().
  int fd() const { return folder_.get(); }

  // Creates an empty folder inside it for an engine to write to; the former one is removed. Not
  // valid, with errno set, on failure.
  unique_fd create_run_folder() const;

  // Removes the folder with everything in it.
  void remove();

private:
  bool take(const std::string& name);
  bool prepare(const std::string& key, const std::string& source) const;

  unique_fd directory_;
  unique_fd folder_;
  unique_fd lock_;
  std::string name_;
};
