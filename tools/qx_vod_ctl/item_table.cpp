#include "tools/qx_vod_ctl/item_table.h"

#include <algorithm>
#include <array>

#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

constexpr std::size_t shortest_id = 8;
constexpr std::size_t column_count = 7;
using table_row = std::array<std::string, column_count>;

const table_row heading = {"POS", "ID", "STATE", "PROGRESS", "PROFILE", "INPUT FILE", "TEXT"};

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
          printable(item.text)};
}

std::array<std::size_t, column_count> widths_of(const std::vector<table_row>& rows) {
  std::array<std::size_t, column_count> widths{};
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < column_count; ++i) {
      widths[i] = std::max(widths[i], columns(row[i]));
    }
  }
  return widths;
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
  std::vector<table_row> rows = {heading};
  const std::size_t id_length = telling_length(items);
  for (const auto& listed : items) {
    rows.push_back(row_of(listed, id_length));
  }
  const auto widths = widths_of(rows);
  std::string table;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < column_count; ++i) {
      line += row[i] + std::string(widths[i] - columns(row[i]) + 2, ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    table += line + "\n";
  }
  return table;
}
