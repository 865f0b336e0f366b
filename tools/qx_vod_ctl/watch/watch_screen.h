// Formats watch's screen: pure functions of its state and the screen's size.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "tools/qx_vod_ctl/queue_screen.h"
#include "tools/qx_vod_ctl/terminal.h"

struct watch_view {
  std::vector<screen_row> rows;  // the whole queue
  std::size_t selected = 0;
  std::size_t top = 0;  // the first row that is shown
  std::string at_work;  // of the job at work; empty for none
  std::string absence;  // why the service does not answer; empty while it does
  std::string notice;   // a question, or what came of the last key; empty for the keys' names
};

// How many items fit on a screen besides the lines around them.
std::size_t visible_rows(const screen_size& size);

// The first row to show so that the selected one is seen, moved as little as can be.
std::size_t scrolled(std::size_t top, std::size_t selected, std::size_t count, std::size_t visible);

// "41.5%, 2.3 times real time, 4:05 left  news.mpg"; parts that are not known are left out. The
// name is last, since it is what can be cut.
std::string at_work_text(const item_view& item, std::optional<double> speed,
                         std::optional<double> seconds);

// One line for each of the screen's rows.
std::vector<std::string> watch_lines(const watch_view& view, const screen_size& size,
                                     const screen_style& style);
