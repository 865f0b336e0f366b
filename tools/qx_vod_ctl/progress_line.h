// Shows the progress of a job to a person.
#pragma once

#include <cstdio>
#include <string>

#include "tools/client/item_view.h"
#include "tools/client/outlook.h"

class progress_line {
public:
  // On a terminal one line is written again and again. Else there is a line for each tenth part,
  // and for each change of state or text.
  progress_line(std::FILE* stream, bool is_terminal) : stream_(stream), is_terminal_(is_terminal) {}
  // Saves the measured speeds.
  ~progress_line();
  progress_line(const progress_line&) = delete;
  progress_line& operator=(const progress_line&) = delete;

  void show(const item_view& shown);
  // Takes the line from the terminal, before something else is printed there.
  void clear();

private:
  std::string estimate_of(const item_view& item);

  std::FILE* stream_;
  bool is_terminal_;
  bool is_shown_ = false;
  std::string last_;
  outlook outlook_;
};

// "0a1b2c3d  transcoding  ████░░░░  58%  4:05 left  news.mpg  Transcoding file..."; without the
// time where `estimate` is empty.
std::string progress_text(const item_view& item, const std::string& estimate, bool blocks);
