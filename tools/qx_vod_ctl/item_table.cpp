#include "tools/qx_vod_ctl/item_table.h"

#include <algorithm>

#include "tools/qx_vod_ctl/terminal_text.h"
#include "tools/qx_vod_ctl/text_table.h"

namespace {

constexpr std::size_t shortest_id = 8;
const table_row headings = {"POS", "ID", "STATE", "PROGRESS", "PROFILE", "INPUT FILE", "TEXT"};

std::size_t common_length(const std::string& one, const std::string& other) {
  const auto shorter = std::min(one.size(), other.size());
  std::size_t length = 0;
  while (length < shorter && one[length] == other[length]) {
    ++length;
  }
  return length;
}

table_row row_of(const listed_item& listed, std::size_t id_length) {
  const item_view& item = listed.item;
  return {std::to_string(listed.position),
          printable(item.entry_id.substr(0, id_length)),
          printable(item.state_and_step()),
          percent(item.progress),
          item.profile.empty() ? "-" : printable(item.profile),
          item.input_file.empty() ? "-" : printable(item.input_file),
          printable(item.whole_text())};
}

}  // namespace

// Of sorted ids the neighbours are the ones most alike.
std::size_t telling_length(const std::vector<listed_item>& items) {
  std::vector<std::string> ids;
  ids.reserve(items.size());
  for (const auto& listed : items) {
    ids.push_back(listed.item.entry_id);
  }
  std::sort(ids.begin(), ids.end());
  std::size_t length = shortest_id;
  for (std::size_t i = 1; i < ids.size(); ++i) {
    length = std::max(length, common_length(ids[i - 1], ids[i]) + 1);
  }
  return length;
}

std::string item_table(const std::vector<listed_item>& items) {
  if (items.empty()) { return ""; }
  table_form form;
  form.headings = headings;
  std::vector<table_row> rows = {form.headings};
  const std::size_t id_length = telling_length(items);
  for (const auto& listed : items) {
    rows.push_back(row_of(listed, id_length));
  }
  const auto widths = table_widths(rows, form);
  std::string table;
  for (const auto& row : rows) {
    table += table_line(row, widths, form) + "\n";
  }
  return table;
}
