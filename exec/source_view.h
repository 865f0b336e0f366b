// A step's look at an item's source, which never blocks the service: if the source is on a file
// system that may not answer, a helper process looks at everything at once.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <sys/types.h>

#include "platform/file_identity.h"
#include "platform/mount_table.h"

class QueueItem;

class source_view {
public:
  explicit source_view(QueueItem& item);
  ~source_view();
  source_view(const source_view&) = delete;
  source_view& operator=(const source_view&) = delete;

  // Call it first. False if the source does not answer at the moment: the step has to wait, and the
  // item's `source_silent` is set.
  bool look();

  // The text with which the source's folder or the file in it is refused; "" if they are accepted.
  // Stores which file it is, if there is one.
  std::string refusal(file_identity& file);
  // 0, or the errno with which the source cannot be found. A link in the last component is found.
  int file_error() const;
  // True if no source is set or it does not exist.
  bool is_missing() const;
  // Whether the source is a regular file, and its size in bytes and its path without links if it
  // is.
  bool is_regular_file(std::uint64_t& size, std::string& real_path) const;
  // Whether this path, the source's metadata directory, is a directory.
  bool has_metadata_folder(const char* path) const;
  // Loads the source's metadata into the item. False with errno, ENOENT if there is none.
  bool load_metadata();

private:
  struct survey;
  static survey look_at_all(QueueItem& item);
  std::optional<std::string> ask(const mount_point& mount);
  bool find_answer(const mount_point& mount);

  QueueItem& item_;
  std::unique_ptr<survey> survey_;  // null if the source is on a local file system
};

// While it exists, all looks at a source share the answer to the first one, or that it had none.
// For several checks in a row; at most one at a time.
class shared_look {
public:
  shared_look();
  ~shared_look();
  shared_look(const shared_look&) = delete;
  shared_look& operator=(const shared_look&) = delete;

private:
  friend class source_view;
  static shared_look* current;

  std::string source_;
  std::optional<std::string> answer_;
};

// Limits the time that jobs take from the service with looks at file systems that answer. Once the
// looks made while it exists have taken that long, further ones fail as if the source did not
// answer, but may be repeated at once and are not counted as missed. For work that nobody waits
// for; at most one at a time.
class look_budget {
public:
  explicit look_budget(std::uint64_t limit_us);
  ~look_budget();
  look_budget(const look_budget&) = delete;
  look_budget& operator=(const look_budget&) = delete;

private:
  friend class source_view;
  static const look_budget* current;
  static bool is_used_up();

  std::uint64_t end_us_;
};

// Shows the user that the item waits for its source, unless the mount may only be slow. The text of
// a paused item stays.
void wait_for_source(QueueItem& item);
