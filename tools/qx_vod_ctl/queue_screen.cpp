#include "tools/qx_vod_ctl/queue_screen.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

enum column { position, id, state, progress, profile, expected, name, text, column_count };
using cells = std::array<std::string, column_count>;
using widths = std::array<std::size_t, column_count>;

constexpr std::size_t narrow = 100;  // below this every column counts
constexpr std::size_t cramped = 60;  // below this a number has to do in place of a bar
constexpr std::size_t least_name = 12;
constexpr std::size_t least_text = 8;

// The columns to omit, the first one first, if a name would get less than its minimum.
constexpr column first_to_go[] = {expected, profile, position, id};

bool is_cramped(const screen_style& style) {
  return style.width > 0 && style.width < cramped;
}

bool is_narrow(const screen_style& style) {
  return style.width > 0 && style.width < narrow;
}

cells headings(const screen_style& style) {
  if (is_cramped(style)) { return {"POS", "ID", "STATE", "%", "PROF", "READY", "INPUT", "TEXT"}; }
  if (is_narrow(style)) {
    return {"POS", "ID", "STATE", "PROGRESS", "PROF", "READY", "INPUT", "TEXT"};
  }
  return {"POS", "ID", "STATE", "PROGRESS", "PROFILE", "READY AT", "INPUT", "TEXT"};
}

bool has_progress(const item_view& item) {
  return item.running() || item.done();
}

std::string progress_cell(const item_view& item, const screen_style& style) {
  if (!has_progress(item)) { return ""; }
  if (style.width == 0) { return percent(item.progress); }
  if (is_cramped(style)) { return std::to_string(item.progress / 100) + "%"; }
  return progress_bar(item.progress, is_narrow(style) ? 6 : 12, style.blocks);
}

std::string name_cell(const std::string& path, const screen_style& style) {
  const auto slash = path.rfind('/');
  const bool whole = style.width == 0 || slash == std::string::npos;
  return printable(whole ? path : path.substr(slash + 1));
}

// If there is no room for the text, the state shows its usual content.
std::string state_cell(const item_view& item, const screen_style& style) {
  if (is_cramped(style) && item.is_in(failed_jobs)) { return failed_jobs; }
  if (is_cramped(style) && item.paused && !item.cancelled() && !item.done()) { return "paused"; }
  return printable(is_narrow(style) ? item.state : item.state_and_step());
}

cells cells_of(const screen_row& row, std::size_t id_length, const screen_style& style) {
  const item_view& item = row.listed.item;
  cells result;
  result[position] = std::to_string(row.listed.position);
  result[id] = printable(item.entry_id.substr(0, id_length));
  result[state] = state_cell(item, style);
  result[progress] = progress_cell(item, style);
  result[profile] = printable(item.profile);
  result[expected] = row.expected;
  result[name] = name_cell(item.input_file, style);
  result[text] = printable(item.text_and_reason());
  return result;
}

// A column in which no item has anything gets no room.
widths natural_widths(const std::vector<cells>& rows, const screen_style& style) {
  widths result{};
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < column_count; ++i) {
      result[i] = std::max(result[i], columns(row[i]));
    }
  }
  const cells heads = headings(style);
  for (std::size_t i = 0; i < column_count; ++i) {
    if (result[i] > 0) { result[i] = std::max(result[i], heads[i].size()); }
  }
  return result;
}

std::size_t gap_of(const screen_style& style) {
  return is_narrow(style) ? 1 : 2;
}

std::size_t taken_before_name(const widths& width, const screen_style& style) {
  std::size_t taken = 0;
  for (std::size_t i = 0; i < name; ++i) {
    taken += width[i] > 0 ? width[i] + gap_of(style) : 0;
  }
  return taken;
}

void make_room_for_name(widths& width, const screen_style& style) {
  const std::size_t wanted = std::min(width[name], least_name);
  for (const column one : first_to_go) {
    if (taken_before_name(width, style) + wanted > style.width) { width[one] = 0; }
  }
}

// The text gets up to half of the remaining width, as needed, and the name the rest; width that one
// does not need goes to the other. If there is too little for both, the text is omitted.
void share_rest(widths& result, const screen_style& style) {
  make_room_for_name(result, style);
  const std::size_t taken = taken_before_name(result, style);
  const std::size_t left = style.width > taken + least_name ? style.width - taken : least_name;
  const std::size_t least_of_both =
      std::min(result[name], least_name) + gap_of(style) + std::min(result[text], least_text);
  if (result[text] == 0 || left < least_of_both) {
    result[text] = 0;
    result[name] = std::min(result[name], left);
    return;
  }
  const std::size_t rest = left - gap_of(style);
  const std::size_t for_text = std::max(rest / 2, rest - std::min(rest, result[name]));
  result[text] = std::min(result[text], for_text);
  result[name] = std::min(result[name], rest - result[text]);
}

widths widths_of(const std::vector<cells>& rows, const screen_style& style) {
  widths result = natural_widths(rows, style);
  if (style.width > 0) { share_rest(result, style); }
  return result;
}

std::string line_of(const cells& row, const widths& width, std::size_t gap) {
  std::string line;
  for (std::size_t i = 0; i < column_count; ++i) {
    if (width[i] == 0) { continue; }
    const bool is_number = i == position;
    const std::string cell = i == name ? cut_middle(row[i], width[i]) : cut_end(row[i], width[i]);
    if (is_number) { line.append(width[i] - columns(cell), ' '); }
    line += is_number ? cell : padded(cell, width[i]);
    line.append(gap, ' ');
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

const char* colour_of(const item_view& item) {
  if (item.is(TRANSCODE_CANCELLED) || item.is(TRANSCODE_CANCELLING)) { return "31"; }
  if (item.paused) { return "33"; }
  if (item.running()) { return "1;32"; }
  return item.done() ? "32" : "";
}

std::string painted(const std::string& line, const char* colour) {
  return *colour == '\0' ? line : std::string("\x1b[") + colour + "m" + line + "\x1b[0m";
}

std::string finished_line(std::string line, const item_view& item, const screen_style& style,
                          bool is_selected) {
  if (style.width > 0) { line = cut_end(line, style.width); }
  if (is_selected) { return painted(padded(std::move(line), style.width), "7"); }
  return style.colour ? painted(line, colour_of(item)) : line;
}

}  // namespace

std::vector<std::string> queue_lines(const std::vector<screen_row>& rows, std::size_t id_length,
                                     const screen_style& style, std::size_t selected) {
  if (rows.empty()) { return {}; }
  std::vector<cells> table;
  table.reserve(rows.size());
  for (const auto& row : rows) {
    table.push_back(cells_of(row, id_length, style));
  }
  const widths width = widths_of(table, style);
  const std::size_t gap = gap_of(style);
  std::string heading = line_of(headings(style), width, gap);
  if (style.width > 0) { heading = cut_end(heading, style.width); }
  std::vector<std::string> lines = {style.colour ? painted(heading, "1") : heading};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    lines.push_back(
        finished_line(line_of(table[i], width, gap), rows[i].listed.item, style, i == selected));
  }
  return lines;
}

std::string totals_line(const state_counts& counts) {
  std::size_t total = 0;
  std::string parts;
  for (const auto& [state, count] : counts) {
    total += count;
  }
  for (const char* state : job_states) {
    const auto found = counts.find(state);
    if (found == counts.end()) { continue; }
    parts += (parts.empty() ? ": " : ", ") + std::to_string(found->second) + " " + state;
  }
  return std::to_string(total) + (total == 1 ? " job" : " jobs") + parts;
}

std::string progress_bar(int progress, std::size_t cells, bool blocks) {
  const auto done = static_cast<std::size_t>(std::clamp(progress, 0, 10000));
  const std::size_t full = done * cells / 10000;
  std::string bar;
  for (std::size_t i = 0; i < cells; ++i) {
    bar += i < full ? (blocks ? "\u2588" : "#") : (blocks ? "\u2591" : ".");
  }
  const std::string number = std::to_string(done / 100) + "%";
  return bar + std::string(5 - number.size(), ' ') + number;
}
