// What a disk holds after a power cut. The model:
//
// - A file has the content of its last fsync, or what was written to it since. One that was never
//   flushed may also be empty, or hold zeros from some place on.
// - A folder has the names of its last fsync. Each name that was made, replaced or removed since
//   then may be as before or as after that, independently of all others: a renamed file may have
//   both names, or neither. A folder that was never flushed may be empty.
// - What existed when settle() was called has reached the disk with content and names.
//
// Real file systems lose less: most of them keep the order of changes of names, and flush the name
// of a new file together with its content.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "tests/support/media/tool_run.h"

namespace qx_test {

class power_cut {
public:
  // A number below the given one, which decides what is lost.
  using chooser = std::function<unsigned(unsigned)>;

  // Of everything in the folder `root`, which must not be on several file systems.
  explicit power_cut(std::string root) : root_(std::move(root)) {}

  // For stepped_tool::keep_journal().
  const std::string& journal() const { return journal_.path(); }
  long next_entry() const { return entries_ + 1; }

  // Everything in the folder has reached the disk; the journal begins again.
  void settle();

  // Changes the folder to what the disk holds, when nobody uses it. Everything that could be lost
  // is, if `all`; else `choose` decides for each.
  void cut(bool all, const chooser& choose);

private:
  struct name_entry {
    std::string kind;
    std::string identity;
    unsigned mode = 0;
    bool operator==(const name_entry& other) const { return identity == other.identity; }
  };
  using names = std::map<std::string, name_entry>;

  void settle_folder(const std::string& path);
  void read_journal();
  void find_files(const std::string& path);
  names flushed_names(const std::string& identity) const;
  void restore_folder(const std::string& identity, const std::string& target) const;
  void restore(const name_entry& entry, const std::string& target) const;
  std::string content(const std::string& identity) const;
  bool survives() const { return !all_ && (*choose_)(2) == 0; }

  std::string root_;
  scratch_folder journal_;
  long entries_ = 0;
  std::map<std::string, std::string> flushed_;  // path in the journal by identity
  std::map<std::string, std::string> present_;  // path by identity
  bool all_ = true;
  const chooser* choose_ = nullptr;
};

}  // namespace qx_test
