// The queue in lines for a screen: pure functions of what is shown and how wide it may be.
#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "tools/client/queue_reader.h"

struct screen_style {
  std::size_t width = 0;  // columns; 0 cuts nothing, shows whole paths and draws no bars
  bool colour = false;
  bool blocks = true;  // bars of block characters, else of ASCII
};

struct screen_row {
  listed_item listed;
  std::string expected;  // when it will be ready, as "~14:32"; empty where that cannot be told
};

constexpr std::size_t no_row = std::numeric_limits<std::size_t>::max();

// A heading and a line for each row, without line feeds. Ids are cut to `id_length`. What is wider
// than the style allows is taken from the names and texts; where too little is left for a name,
// columns that tell less are left out. Row `selected` is shown inverted.
std::vector<std::string> queue_lines(const std::vector<screen_row>& rows, std::size_t id_length,
                                     const screen_style& style, std::size_t selected = no_row);

// How many items are in each state.
using state_counts = std::map<std::string, std::size_t>;

// "512 jobs: 1 transcoding, 3 ready, 508 done", in the order of a job's life.
std::string totals_line(const state_counts& counts);

// A bar of `cells` columns with the percentage behind it: "███░░  58%".
std::string progress_bar(int progress, std::size_t cells, bool blocks);
