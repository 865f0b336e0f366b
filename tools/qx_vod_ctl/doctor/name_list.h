// Names in a finding: the first few, and how many more there are.
#pragma once

#include <string>

#include "tools/job_log/one_line.h"

class name_list {
public:
  void add(const std::string& name) {
    if (++count_ <= most_shown) { shown_ += (shown_.empty() ? "" : ", ") + on_one_line(name); }
  }

  bool empty() const { return count_ == 0; }
  int count() const { return count_; }
  std::string text() const {
    return count_ <= most_shown ? shown_
                                : shown_ + " and " + std::to_string(count_ - most_shown) + " more";
  }

private:
  static constexpr int most_shown = 5;
  std::string shown_;
  int count_ = 0;
};
