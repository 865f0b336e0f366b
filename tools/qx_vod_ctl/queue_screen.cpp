#include "tools/qx_vod_ctl/queue_screen.h"

#include <algorithm>
#include <cstring>

#include "tools/qx_vod_ctl/terminal_text.h"
#include "tools/qx_vod_ctl/text_table.h"

namespace {

enum column { position, id, state, progress, profile, expected, name, text, column_count };
using widths = std::vector<std::size_t>;

constexpr std::size_t narrow = 100;  // below this every column counts
constexpr std::size_t cramped = 60;  // below this a number replaces the bar
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

table_row headings(const screen_style& style) {
  if (is_cramped(style)) { return {"POS", "ID", "STATE", "%", "PROF", "READY", "INPUT", "TEXT"}; }
  if (is_narrow(style)) {
    return {"POS", "ID", "STATE", "PROGRESS", "PROF", "READY", "INPUT", "TEXT"};
  }
  return {"POS", "ID", "STATE", "PROGRESS", "PROFILE", "READY AT", "INPUT", "TEXT"};
}

table_form form_of(const screen_style& style) {
  table_form form;
  form.headings = headings(style);
  form.gap = is_narrow(style) ? 1 : 2;
  form.number_column = position;
  form.path_column = name;
  return form;
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

table_row cells_of(const screen_row& row, std::size_t id_length, const screen_style& style) {
  const item_view& item = row.listed.item;
  table_row result(column_count);
  result[position] = std::to_string(row.listed.position);
  result[id] = printable(item.entry_id.substr(0, id_length));
  result[state] = state_cell(item, style);
  result[progress] = progress_cell(item, style);
  result[profile] = printable(item.profile);
  result[expected] = row.expected;
  result[name] = name_cell(item.input_file, style);
  result[text] = printable(item.whole_text());
  return result;
}

std::size_t taken_before_name(const widths& width, std::size_t gap) {
  std::size_t taken = 0;
  for (std::size_t i = 0; i < name; ++i) {
    taken += width[i] > 0 ? width[i] + gap : 0;
  }
  return taken;
}

void make_room_for_name(widths& width, std::size_t gap, std::size_t room) {
  const std::size_t wanted = std::min(width[name], least_name);
  for (const column one : first_to_go) {
    if (taken_before_name(width, gap) + wanted > room) { width[one] = 0; }
  }
}

// The text gets up to half of the remaining width, as needed, and the name the rest; width that one
// does not need goes to the other. If there is too little for both, the text is omitted.
void share_rest(widths& result, std::size_t gap, std::size_t room) {
  make_room_for_name(result, gap, room);
  const std::size_t taken = taken_before_name(result, gap);
  const std::size_t left = room > taken + least_name ? room - taken : least_name;
  const std::size_t least_of_both =
      std::min(result[name], least_name) + gap + std::min(result[text], least_text);
  if (result[text] == 0 || left < least_of_both) {
    result[text] = 0;
    result[name] = std::min(result[name], left);
    return;
  }
  const std::size_t rest = left - gap;
  const std::size_t for_text = std::max(rest / 2, rest - std::min(rest, result[name]));
  result[text] = std::min(result[text], for_text);
  result[name] = std::min(result[name], rest - result[text]);
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
  std::vector<table_row> table;
  table.reserve(rows.size());
  for (const auto& row : rows) {
    table.push_back(cells_of(row, id_length, style));
  }
  const table_form form = form_of(style);
  widths width = table_widths(table, form);
  if (style.width > 0) { share_rest(width, form.gap, style.width); }
  std::string heading = table_line(form.headings, width, form);
  if (style.width > 0) { heading = cut_end(heading, style.width); }
  std::vector<std::string> lines = {style.colour ? painted(heading, "1") : heading};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    lines.push_back(finished_line(table_line(table[i], width, form), rows[i].listed.item, style,
                                  i == selected));
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
