// The hidden folder beside an output in which a transcode keeps its finished segments. It belongs
// to what is made, not to one run of the tool: the next run that makes the same of the same source
// finds it.
#pragma once

#include <string>

#include "platform/unique_fd.h"

// The file in it that says all on which the segments depend.
constexpr const char* segment_key_name = "key";

// A folder inside it for one engine to write to. It is removed with this object.
class run_folder {
public:
  // Creates the empty folder `name` in `folder`, which must stay open as long as this object
  // exists. Not valid, with errno set, on failure.
  run_folder(int folder, std::string name);
  ~run_folder();
  run_folder(run_folder&&) noexcept = default;
  run_folder& operator=(run_folder&&) = delete;

  bool valid() const { return fd_.valid(); }
  int fd() const { return fd_.get(); }

private:
  int folder_;
  std::string name_;
  unique_fd fd_;
};

// The name of this machine in its network.
std::string own_machine();

// The name of the run folder for an engine of this process that begins with the segment `name`.
std::string run_folder_name(const std::string& name);

class work_folder {
public:
  work_folder() = default;
  // Removes the folder if no other run of the tool can find it.
  ~work_folder();
  work_folder(const work_folder&) = delete;
  work_folder& operator=(const work_folder&) = delete;

  // Creates the folder for `key` next to the file `output`, or takes the one that an earlier run
  // left. `key` says all on which the segments depend. If another process does not release that
  // folder within 2 s, somebody else owns it, or the file system knows no locks, an empty one with
  // a name of its own is created. One whose key cannot be read fails the first time, and counts as
  // empty the second time. `source` is what the folder shall remember of the source. False with the
  // cause in `error`.
  bool open(const std::string& output, const std::string& key, const std::string& source,
            std::string& error);

  // Whether open() failed because the folder was there, and what it belongs to could not be read:
  // the next try may find out.
  bool is_unreadable() const { return is_unreadable_; }

  // Valid after open().
  int fd() const { return folder_.get(); }

  // Remembers that the file open as `result` is what all this was for, and is about to get the name
  // of the output: a tool that is killed after that leaves nothing of use.
  void note_result(int result) const;

  // Removes the folder with everything in it, unless another process has it.
  void remove();

private:
  bool take(const std::string& name);
  bool take_in_time(const std::string& name);
  bool takes_over(const std::string& key);
  bool prepare(const std::string& key, const std::string& source);

  unique_fd directory_;
  unique_fd folder_;
  unique_fd lock_;
  std::string name_;
  std::string result_;  // the output's name
  bool is_private_ = false;
  bool is_unreadable_ = false;
};
