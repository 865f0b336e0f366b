// Formats the queue in lines for a screen: pure functions of the rows and the width.
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
  std::string expected;  // when it will be ready, as "~14:32"; empty if unknown
};

constexpr std::size_t no_row = std::numeric_limits<std::size_t>::max();

// A heading and a line for each row, without line feeds. Ids are cut to `id_length`. If the lines
// are wider than the style allows, names and texts are cut; if too little is left for a name, less
// important columns are omitted. Row `selected` is shown inverted.
std::vector<std::string> queue_lines(const std::vector<screen_row>& rows, std::size_t id_length,
                                     const screen_style& style, std::size_t selected = no_row);

// How many items are in each state.
using state_counts = std::map<std::string, std::size_t>;

// "512 jobs: 1 transcoding, 3 ready, 508 done", in the order of a job's life.
std::string totals_line(const state_counts& counts);

// A bar of `cells` columns followed by the percentage: "███░░  58%".
std::string progress_bar(int progress, std::size_t cells, bool blocks);
