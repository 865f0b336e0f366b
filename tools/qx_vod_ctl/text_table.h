// A table for people: rows of cells under headings.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

using table_row = std::vector<std::string>;

struct table_form {
  table_row headings;
  std::size_t gap = 2;                            // between two columns
  std::size_t number_column = std::string::npos;  // this one is aligned to the right
  std::size_t path_column =
      std::string::npos;  // this one is cut in its middle, others at their end
};

// The width of each column of the table, enough for its contents and its heading; 0 for a column
// that is empty in every row.
std::vector<std::size_t> table_widths(const std::vector<table_row>& rows, const table_form& form);

// A row in these widths, without blanks at its end; columns with width 0 are left out.
std::string table_line(const table_row& row, const std::vector<std::size_t>& widths,
                       const table_form& form);
