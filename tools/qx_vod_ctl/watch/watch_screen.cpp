#include "tools/qx_vod_ctl/watch/watch_screen.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>

#include "tools/client/estimate.h"
#include "tools/qx_vod_ctl/item_table.h"
#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

constexpr std::size_t lines_around = 4;  // totals, the job at work, the heading, the keys
// The keys' names, the fullest first; the last fits 40 columns.
constexpr std::string_view key_names[] = {
    "up/down select  p pause  r resume  c cancel  R restart  x remove  q quit",
    "p pause  r resume  c cancel  R restart  x remove  q quit",
    "p pause r resume c cancel x remove q end"};

std::string key_line(std::size_t width) {
  const auto* const found =
      std::find_if(std::begin(key_names), std::end(key_names),
                   [&](std::string_view names) { return width == 0 || names.size() <= width; });
  return std::string(found == std::end(key_names) ? key_names[2] : *found);
}

std::string base_name(const std::string& path) {
  return printable(path.substr(path.rfind('/') + 1));
}

std::string totals_of(const watch_view& view) {
  if (view.rows.empty()) { return view.absence.empty() ? "The queue is empty." : ""; }
  state_counts counts;
  for (const auto& row : view.rows) {
    ++counts[row.listed.item.state];
  }
  return totals_line(counts);
}

std::string styled(const std::string& line, const char* code, const screen_style& style) {
  return style.colour && !line.empty() ? std::string("\x1b[") + code + "m" + line + "\x1b[0m"
                                       : line;
}

std::string second_line(const watch_view& view, const screen_style& style) {
  if (view.absence.empty()) { return cut_end(view.at_work, style.width); }
  return styled(cut_end(view.absence + " - waiting for it", style.width), "1;31", style);
}

std::vector<screen_row> shown_rows(const watch_view& view, std::size_t visible) {
  const std::size_t top = std::min(view.top, view.rows.size());
  const std::size_t end = std::min(top + visible, view.rows.size());
  const auto begin = view.rows.begin();
  return {begin + static_cast<std::ptrdiff_t>(top), begin + static_cast<std::ptrdiff_t>(end)};
}

// Of all items, so that the column does not change its width while one scrolls.
std::size_t id_length_of(const watch_view& view) {
  std::vector<listed_item> items;
  items.reserve(view.rows.size());
  for (const auto& row : view.rows) {
    items.push_back(row.listed);
  }
  return telling_length(items);
}

}  // namespace

std::size_t visible_rows(const screen_size& size) {
  return size.rows > lines_around ? size.rows - lines_around : 1;
}

std::size_t scrolled(std::size_t top, std::size_t selected, std::size_t count,
                     std::size_t visible) {
  const std::size_t last_top = count > visible ? count - visible : 0;
  if (selected < top) { top = selected; }
  if (selected >= top + visible) { top = selected - visible + 1; }
  return std::min(top, last_top);
}

std::string at_work_text(const item_view& item, std::optional<double> speed,
                         std::optional<double> seconds) {
  const std::string name = "  " + base_name(item.input_file);
  std::string text = percent(item.progress);
  if (item.paused) { return text + ", paused" + name; }
  if (item.resumed) { text += ", " + resumption_text(*item.resumed); }
  if (speed) {
    char number[48];
    std::snprintf(number, sizeof number, ", %.1f times real time", *speed);
    text += number;
  }
  if (seconds) { text += ", " + duration_text(*seconds) + " left"; }
  if (item.spread) { text += ", " + spread_text(*item.spread); }
  return text + name;
}

std::vector<std::string> watch_lines(const watch_view& view, const screen_size& size,
                                     const screen_style& style) {
  const std::size_t visible = visible_rows(size);
  std::vector<std::string> lines = {styled(cut_end(totals_of(view), style.width), "1", style),
                                    second_line(view, style)};
  const auto rows = shown_rows(view, visible);
  const std::size_t selected = view.selected < view.top ? no_row : view.selected - view.top;
  for (auto& line : queue_lines(rows, id_length_of(view), style, selected)) {
    lines.push_back(std::move(line));
  }
  lines.resize(std::max<std::size_t>(size.rows, 1));
  // A question has its verb in front and its answers at its end.
  lines.back() = view.notice.empty()
                     ? styled(cut_end(key_line(style.width), style.width), "2", style)
                     : styled(cut_middle(view.notice, style.width), "1;33", style);
  return lines;
}
