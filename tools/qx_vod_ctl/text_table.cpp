#include "tools/qx_vod_ctl/text_table.h"

#include <algorithm>

#include "tools/qx_vod_ctl/terminal_text.h"

std::vector<std::size_t> table_widths(const std::vector<table_row>& rows, const table_form& form) {
  std::vector<std::size_t> widths(form.headings.size());
  for (std::size_t i = 0; i < widths.size(); ++i) {
    for (const table_row& row : rows) {
      widths[i] = std::max(widths[i], columns(row[i]));
    }
    if (widths[i] > 0) { widths[i] = std::max(widths[i], columns(form.headings[i])); }
  }
  return widths;
}

std::string table_line(const table_row& row, const std::vector<std::size_t>& widths,
                       const table_form& form) {
  std::string line;
  for (std::size_t i = 0; i < widths.size(); ++i) {
    if (widths[i] == 0) { continue; }
    const std::string cell =
        i == form.path_column ? cut_middle(row[i], widths[i]) : cut_end(row[i], widths[i]);
    if (i == form.number_column) { line.append(widths[i] - columns(cell), ' '); }
    line += i == form.number_column ? cell : padded(cell, widths[i]);
    line.append(form.gap, ' ');
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}
